#!/usr/bin/python3
"""FTP server for the tests and the demo: pyftpdlib on 127.0.0.1.

Prints "PORT <n>" on stdout once it listens. With --control DIR it ends with
its parent, logs every command to DIR/commands.log, and on every command
re-reads these fault switches, files in DIR:
  refuse_login        every logon is refused (530)
  refuse_cwd   lines  CWD into one of these directories answers 550
  drop_after   n      a download's data connection is closed after n bytes
  drop.NAME    n      the same for downloads of the file NAME only
  throttle     n      downloads send at most n bytes a second
  stall_ms     n      every reply is held back n ms
  stall_retr          RETR is never answered
  stall.NAME          RETR of NAME is never answered, and DIR/stalled is made
  endless.NAME        RETR of NAME sends bytes without end
  garbage_on   CMD    CMD gets a line that is no FTP reply
  unknown_on   CMD    CMD is answered as a command the server doesn't know
  close_on     CMD    CMD makes the server hang up
  stray_after  CMD    CMD's reply is followed at once by a reply nobody asked for

With --tls PEM (certificate chain, then its key) it offers explicit TLS
(AUTH TLS, PBSZ, PROT) and refuses to log on or open a data connection
without it. Each data connection's handshake is logged to
DIR/commands.log as "TLS data resumed" or "TLS data new"; with
--require-reuse a data connection that does not resume the control
connection's TLS session is refused with 522.
"""
import argparse
import logging
import os
import threading
import time

from pyftpdlib.authorizers import AuthenticationFailed, DummyAuthorizer
from pyftpdlib.handlers import FileProducer, FTPHandler, ThrottledDTPHandler
from pyftpdlib.servers import FTPServer

CONTROL = None


def switch(name, kind=str):
    """The switch's content as kind; None when it is off (or unreadable)."""
    try:
        with open(os.path.join(CONTROL, name)) as f:
            return kind(f.read())
    except (TypeError, OSError, ValueError):  # TypeError: no --control
        return None


class Authorizer(DummyAuthorizer):
    def validate_authentication(self, username, password, handler):
        if switch("refuse_login") is not None:
            raise AuthenticationFailed("logon refused")
        DummyAuthorizer.validate_authentication(self, username, password, handler)


class Dropping:
    """The fault switches of a data connection."""

    def __init__(self, sock, cmd_channel):
        self.write_limit = switch("throttle", int) or 0
        super().__init__(sock, cmd_channel)
        self._sent = 0

    def send(self, data):
        limit = self.cmd_channel.drop_limit  # set by the RETR that started this transfer
        if limit is None:
            return super().send(data)
        n = super().send(data[:limit - self._sent]) if self._sent < limit else 0
        self._sent += n
        if self._sent >= limit:
            self.handle_close()
        return n


class DroppingDTP(Dropping, ThrottledDTPHandler):
    pass


class Endless:
    """A file without end, for a server that never stops sending."""
    name = "endless"
    closed = False

    def read(self, size):
        return b"e" * (size or 65536)

    def close(self):
        self.closed = True


def note(line):
    if CONTROL is not None:
        with open(os.path.join(CONTROL, "commands.log"), "a") as f:
            f.write(line + "\n")


class Faults:
    """The fault switches of the control connection."""
    dtp_handler = DroppingDTP
    drop_limit = None
    auth_failed_timeout = 0
    use_sendfile = False

    def pre_process_command(self, line, cmd, arg):
        note(line)
        for fault, act in (("garbage_on", lambda: self.push("this is no reply\r\n")),
                           ("unknown_on", lambda: self.respond('500 Command "%s" not understood.' % cmd)),
                           ("close_on", self.close)):
            if cmd and (switch(fault) or "").strip().upper() == cmd:
                return act()
        if cmd and (switch("stray_after") or "").strip().upper() == cmd:
            self.stray = "\r\n250-Unasked for\r\n second line\r\n250 End"
        if cmd == "RETR":
            name = os.path.basename(arg or "")
            if switch("stall_retr") is not None or switch("stall." + name) is not None:
                open(os.path.join(CONTROL, "stalled"), "w").close()
                return
            each = switch("drop." + name, int)
            self.drop_limit = each if each is not None else switch("drop_after", int)
        delay = switch("stall_ms", int)
        base = super()
        if delay:
            later = lambda: self._closed or base.pre_process_command(line, cmd, arg)
            return self.ioloop.call_later(delay / 1000.0, later)
        base.pre_process_command(line, cmd, arg)

    def respond(self, resp, logfun=None):
        # A stray reply goes out in the same write as the real one.
        resp += self.__dict__.pop("stray", "")
        if logfun is None:
            return super().respond(resp)
        return super().respond(resp, logfun)

    def ftp_RETR(self, file):
        if switch("endless." + os.path.basename(file)) is not None:
            endless = Endless()
            self.push_dtp_data(FileProducer(endless, self._current_type), isproducer=True,
                               file=endless, cmd="RETR")
            return file
        return super().ftp_RETR(file)

    def ftp_CWD(self, path):
        refused = {d.strip().strip("/") for d in (switch("refuse_cwd") or "").splitlines()} - {""}
        if self.fs.fs2ftp(path).strip("/") in refused:
            return self.respond("550 No such directory.")
        return super().ftp_CWD(path)


class Handler(Faults, FTPHandler):
    pass


def tls_handler(pem, require_reuse):
    """The handler class of a server that speaks explicit TLS only."""
    from OpenSSL import SSL
    from pyftpdlib.handlers import TLS_DTPHandler, TLS_FTPHandler

    class TlsDTP(Dropping, TLS_DTPHandler, ThrottledDTPHandler):
        def readable(self):
            # A client may start its handshake before the transfer command
            # arrives; pyftpdlib (before 1.5.9) then closes the connection.
            return self._ssl_accepting or super().readable()

        def handle_ssl_established(self):
            resumed = bool(SSL._lib.SSL_session_reused(self.socket._ssl))
            note("TLS data " + ("resumed" if resumed else "new"))
            if require_reuse and not resumed:
                self.close()  # the transfer fails with 426

    class TlsHandler(Faults, TLS_FTPHandler):
        dtp_handler = TlsDTP
        certfile = pem
        tls_control_required = True
        tls_data_required = True

    return TlsHandler


def main():
    global CONTROL
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("--root", default=".")
    p.add_argument("--port", type=int, default=0)
    p.add_argument("--user", default="svcfeed")
    p.add_argument("--password", default="mintrav42")
    p.add_argument("--control", default=None)
    p.add_argument("--tls", metavar="PEM", default=None)
    p.add_argument("--require-reuse", action="store_true")
    args = p.parse_args()
    CONTROL = args.control
    handler = tls_handler(args.tls, args.require_reuse) if args.tls else Handler
    handler.authorizer = Authorizer()
    handler.authorizer.add_user(args.user, args.password, os.path.abspath(args.root), perm="elradfmwMT")
    logging.basicConfig(level=logging.DEBUG if os.environ.get("KAU_FTP_DEBUG") else logging.CRITICAL)
    server = FTPServer(("127.0.0.1", args.port), handler)
    if CONTROL is not None:  # under a test: end with it, even when it is killed
        parent = os.getppid()

        def watch():  # a thread of its own: the server's loop may sleep until a client comes
            while os.getppid() == parent:
                time.sleep(0.5)
            os._exit(0)
        threading.Thread(target=watch, daemon=True).start()
    print("PORT %d" % server.address[1], flush=True)
    server.serve_forever()  # ends quietly on Ctrl-C too


if __name__ == "__main__":
    main()
