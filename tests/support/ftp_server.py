#!/usr/bin/python3
"""FTP server for the tests and the demo: pyftpdlib on 127.0.0.1.

Prints "PORT <n>" on stdout once it listens. With --control DIR it re-reads
the fault switches from files in DIR on every command, so a running test can
change them:

  refuse_login   (exists)      every logon is refused (530)
  refuse_cwd     (lines)       CWD into one of these directories answers 550
  drop_after     (number)      a download's data connection is closed after n bytes
  drop.NAME      (number)      the same for the downloads of the file NAME only
  throttle       (number)      downloads send at most n bytes a second
  stall_ms       (number)      every reply is held back this long
  stall_retr     (exists)      RETR is never answered
  stall.NAME     (exists)      RETR of the file NAME is never answered; the
                               server then puts down the file DIR/stalled
  garbage_on     (command)     this command gets a line that is no FTP reply
  unknown_on     (command)     this command is answered as one the server doesn't know
  close_on       (command)     this command makes the server hang up

and writes every command it receives, one a line, to DIR/commands.log.
"""
import argparse
import os
import sys

from pyftpdlib.authorizers import AuthenticationFailed, DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, ThrottledDTPHandler
from pyftpdlib.servers import FTPServer

CONTROL = None


def switch(name):
    if CONTROL is None:
        return None
    try:
        with open(os.path.join(CONTROL, name)) as f:
            return f.read()
    except OSError:
        return None


def number(name):
    text = switch(name)
    try:
        return int(text.strip()) if text is not None else None
    except ValueError:
        return None


class Authorizer(DummyAuthorizer):
    def validate_authentication(self, username, password, handler):
        if switch("refuse_login") is not None:
            raise AuthenticationFailed("logon refused")
        DummyAuthorizer.validate_authentication(self, username, password, handler)


class DroppingDTP(ThrottledDTPHandler):
    """Sends at most throttle bytes a second, and hangs up after drop_after
    (or drop.NAME) bytes of a download."""

    def __init__(self, sock, cmd_channel):
        self.write_limit = number("throttle") or 0
        ThrottledDTPHandler.__init__(self, sock, cmd_channel)
        self._limit = False  # not known before the first send: RETR comes after EPRT
        self._sent = 0

    def send(self, data):
        if self._limit is False:
            self._limit = self.cmd_channel.drop_limit
        if self._limit is None:
            return ThrottledDTPHandler.send(self, data)
        remaining = self._limit - self._sent
        if remaining <= 0:
            self.handle_close()
            return 0
        n = ThrottledDTPHandler.send(self, data[:remaining])
        self._sent += n
        if self._sent >= self._limit:
            self.handle_close()
        return n


class Handler(FTPHandler):
    dtp_handler = DroppingDTP
    drop_limit = None
    auth_failed_timeout = 0
    use_sendfile = False

    def pre_process_command(self, line, cmd, arg):
        if CONTROL is not None:
            with open(os.path.join(CONTROL, "commands.log"), "a") as f:
                f.write(line + "\n")
        garbage = (switch("garbage_on") or "").strip().upper()
        if garbage and garbage == cmd:
            self.push("this is no reply\r\n")
            return
        unknown = (switch("unknown_on") or "").strip().upper()
        if unknown and unknown == cmd:
            self.respond("500 Command \"%s\" not understood." % cmd)
            return
        close = (switch("close_on") or "").strip().upper()
        if close and close == cmd:
            self.close()
            return
        if cmd == "RETR":
            name = os.path.basename(arg or "")
            if switch("stall_retr") is not None or switch("stall." + name) is not None:
                if CONTROL is not None:
                    open(os.path.join(CONTROL, "stalled"), "w").close()
                return
            each = number("drop." + name)
            self.drop_limit = each if each is not None else number("drop_after")
        delay = number("stall_ms")
        if delay:
            def later():
                if not self._closed:
                    FTPHandler.pre_process_command(self, line, cmd, arg)
            self.ioloop.call_later(delay / 1000.0, later)
            return
        FTPHandler.pre_process_command(self, line, cmd, arg)

    def ftp_CWD(self, path):
        refused = [d.strip().strip("/") for d in (switch("refuse_cwd") or "").splitlines()]
        if self.fs.fs2ftp(path).strip("/") in [d for d in refused if d]:
            self.respond("550 No such directory.")
            return
        return FTPHandler.ftp_CWD(self, path)


def main():
    global CONTROL
    p = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    p.add_argument("--root", default=".")
    p.add_argument("--port", type=int, default=0)
    p.add_argument("--user", default="svcfeed")
    p.add_argument("--password", default="mintrav42")
    p.add_argument("--control", default=None)
    args = p.parse_args()
    CONTROL = args.control
    authorizer = Authorizer()
    authorizer.add_user(args.user, args.password, os.path.abspath(args.root), perm="elradfmwMT")
    Handler.authorizer = authorizer
    import logging
    logging.basicConfig(level=logging.DEBUG if os.environ.get("KAU_FTP_DEBUG") else logging.CRITICAL)
    server = FTPServer(("127.0.0.1", args.port), Handler)
    if args.control is not None:
        # Under a test: end with the test process, even when it is killed.
        parent = os.getppid()

        def watch():
            if os.getppid() != parent:
                os._exit(0)
        server.ioloop.call_every(0.5, watch)
    print("PORT %d" % server.address[1], flush=True)
    try:
        server.serve_forever(handle_exit=False)
    except KeyboardInterrupt:
        pass


if __name__ == "__main__":
    sys.exit(main())
