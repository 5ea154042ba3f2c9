#!/usr/bin/python3
"""An FTP server for the console front end's tests: one account on a root
directory, 127.0.0.1 at a free port, written to --port-file once it listens.
--throttle makes every download send at most that many bytes a second, so a
test can interrupt a transfer while it runs. Ends on SIGTERM, and when the
process that started it ends."""
import argparse
import os
import signal
import ctypes
import logging

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, ThrottledDTPHandler
from pyftpdlib.log import config_logging
from pyftpdlib.servers import FTPServer


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--root", required=True)
    parser.add_argument("--user", required=True)
    parser.add_argument("--password", required=True)
    parser.add_argument("--port-file", required=True)
    parser.add_argument("--throttle", type=int, default=0)
    args = parser.parse_args()

    config_logging(level=logging.WARNING)
    authorizer = DummyAuthorizer()
    authorizer.add_user(args.user, args.password, args.root, perm="elr")

    class Handler(FTPHandler):
        pass

    Handler.authorizer = authorizer
    Handler.auth_failed_timeout = 0
    if args.throttle > 0:
        class Slow(ThrottledDTPHandler):
            pass
        Slow.write_limit = args.throttle
        Handler.dtp_handler = Slow
        Handler.use_sendfile = False

    server = FTPServer(("127.0.0.1", 0), Handler)
    port = server.socket.getsockname()[1]
    tmp = args.port_file + ".tmp"
    with open(tmp, "w") as f:
        f.write(str(port))
    os.replace(tmp, args.port_file)

    signal.signal(signal.SIGTERM, lambda *_: server.close_all())

    # Never outlive the test that started us (PR_SET_PDEATHSIG).
    ctypes.CDLL(None, use_errno=True).prctl(1, signal.SIGTERM)
    if os.getppid() == 1:
        return
    try:
        server.serve_forever(handle_exit=False)
    except (KeyboardInterrupt, OSError):
        pass
    finally:
        server.close_all()


if __name__ == "__main__":
    main()
