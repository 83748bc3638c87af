"""Ports for the servers of these tests.

Each process holds a block of ports to itself while it runs, by listening at the first of them. The blocks lie below
the ports that the system gives to outgoing connections. The test programs take theirs in the same way
(tests/support/loopback.cpp); the servers of tests/support/servers_* stay below all blocks.
"""

import atexit
import errno
import os
import socket
import threading

FIRST, PORTS, BLOCKS = 10240, 512, 44


def listen_at(port, host="127.0.0.1"):
    """A listening socket, or None when the port is taken."""
    try:
        return socket.create_server((host, port))
    except OSError as error:
        if error.errno != errno.EADDRINUSE:
            raise
        return None


class Block:
    def __init__(self):
        self.lock = threading.Lock()
        self.next = 0
        for i in range(BLOCKS):
            self.first = FIRST + (os.getpid() + i) % BLOCKS * PORTS
            self.guard = listen_at(self.first, "")
            if self.guard:
                atexit.register(self.guard.close)
                return
        raise OSError("every block of ports is taken")

    def listen(self):
        """Listens at the next free port of the block."""
        with self.lock:
            for _ in range(PORTS):
                self.next = self.next % (PORTS - 1) + 1
                listener = listen_at(self.first + self.next)
                if listener:
                    return listener
        raise OSError("every port of the block is taken")


_block = None
_lock = threading.Lock()


def listen():
    """Listens at a port that no other test program uses."""
    global _block
    with _lock:
        _block = _block or Block()
    return _block.listen()


def unused():
    """A port where nothing listens, nor will soon."""
    with listen() as listener:
        return listener.getsockname()[1]
