"""A database server of a test's own."""

import contextlib
import socket
import subprocess
import sys
import time


@contextlib.contextmanager
def running_in(directory):
    """Runs a server that listens at redis.sock in the directory, and ends it."""
    server = subprocess.Popen(
        ["redis-server", "--port", "0", "--unixsocket", f"{directory}/redis.sock", "--dir", directory, "--save", ""],
        stdout=subprocess.DEVNULL)
    try:
        for _ in range(200):
            with socket.socket(socket.AF_UNIX) as probe:
                if probe.connect_ex(f"{directory}/redis.sock") == 0:
                    break
            time.sleep(0.05)
        else:
            sys.exit("no database server")
        yield
    finally:
        server.terminate()
        server.wait()
