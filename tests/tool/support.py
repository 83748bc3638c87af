"""What the tests of the program share: running it, and small servers that misbehave exactly as told.

QZ_PROGRAM is the command to run, for example "build/linux/qz" or "scripts/wine-run build/windows/qz.exe"; names in
it are taken from the checkout. Every run and every wait on a socket has a time limit.
"""

import contextlib
import hashlib
import os
import posixpath
import random
import shlex
import shutil
import socket
import struct
import subprocess
import tempfile
import threading
import time
import unittest
import unittest.mock

import ports

CHECKOUT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
RUN_SECONDS = 60
SOCKET_SECONDS = 20

DONE, OTHER, USAGE, NOT_FOUND, NETWORK, LOGIN, PROTOCOL, DISK, REFUSED, INTERRUPTED = 0, 1, 2, 3, 4, 5, 6, 7, 8, 130


def program():
    words = shlex.split(os.environ.get("QZ_PROGRAM", "build/linux-asan/qz"))
    return [os.path.join(CHECKOUT, word) if os.path.exists(os.path.join(CHECKOUT, word)) else word for word in words]


def on_windows():
    return program()[-1].endswith(".exe")


only_posix = unittest.skipIf(on_windows(), "needs terminals, signals or limits of a POSIX system")


def system_path(path):
    """A path of this machine as the program's system names it."""
    return "Z:" + path.replace("/", "\\") if on_windows() else path


def few(cases):
    """All cases; on Windows, where each start of the program takes a second or more, every third."""
    return cases[::3] if on_windows() else cases


def some_bytes(count, seed=1):
    return random.Random(seed).randbytes(count)


def digest(data):
    return hashlib.sha256(data).hexdigest()


class Result:
    def __init__(self, code, output, errors):
        self.code = code
        self.output = output.decode("utf-8", "replace")
        self.errors = errors.decode("utf-8", "replace")

    def __str__(self):
        return "code %d\n-- output\n%s\n-- errors\n%s" % (self.code, self.output, self.errors)


class ProgramTest(unittest.TestCase):
    """A test with an empty folder of its own, in which the program runs."""

    maxDiff = 2000

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="qz-tool-")
        self.addCleanup(shutil.rmtree, self.folder, True)
        # Saved transfers of a test are its own. The program makes the folder.
        self.transfers = self.folder + "-transfers"
        self.addCleanup(shutil.rmtree, self.transfers, True)
        environment = unittest.mock.patch.dict(os.environ, QZ_TRANSFERS=system_path(self.transfers))
        environment.start()
        self.addCleanup(environment.stop)

    def run_qz(self, *arguments, stdin=b"", environment=None, seconds=RUN_SECONDS, through=(), **options):
        """through: a command that runs the program."""
        full = dict(os.environ, **(environment or {}))
        done = subprocess.run([*through, *program(), *arguments], cwd=self.folder, input=stdin, env=full,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=seconds, check=False, **options)
        return Result(done.returncode, done.stdout, done.stderr)

    def start_qz(self, *arguments, **options):
        streams = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        process = subprocess.Popen(program() + list(arguments), cwd=self.folder, **{**streams, **options})
        self.addCleanup(self._end, process)
        return process

    @staticmethod
    def _end(process):
        if process.poll() is None:
            process.kill()
        process.communicate()

    def expect(self, code, *arguments, **options):
        result = self.run_qz(*arguments, **options)
        self.assertEqual(result.code, code, result)
        return result

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def names(self):
        return sorted(os.listdir(self.folder))

    def assert_file(self, name, data):
        self.assertEqual(digest(self.read(name)), digest(data), name)

    def serve(self, server):
        self.addCleanup(server.stop)
        return server

    def wait_for(self, condition, seconds=15):
        end = time.monotonic() + seconds
        while not condition():
            self.assertLess(time.monotonic(), end, "timed out waiting")
            time.sleep(0.02)


class OwnProgram(ProgramTest):
    """A copy of the program, which keeps its preferences beside itself, and finds its extensions there."""

    has_extensions = False

    def setUp(self):
        super().setUp()
        self.place = tempfile.mkdtemp(prefix="qz-program-")
        self.addCleanup(shutil.rmtree, self.place, True)
        source = program()[-1]
        shutil.copy(source, self.place)
        library = os.path.join(os.path.dirname(source), "qz.dll")
        if os.path.exists(library):
            shutil.copy(library, self.place)
        extensions = os.path.join(os.path.dirname(source), "extensions")
        for name in os.listdir(extensions) if self.has_extensions else ():
            if name.endswith(".AXT"):
                shutil.copy(os.path.join(extensions, name), self.place)
        words = program()[:-1] + [os.path.join(self.place, os.path.basename(source))]
        environment = unittest.mock.patch.dict(os.environ, QZ_PROGRAM=shlex.join(words))
        environment.start()
        self.addCleanup(environment.stop)
        self.preferences = os.path.join(self.place, "qzCache", "qzVRXPrefs")


def preloaded(test, **variables):
    """The environment of a program that kill_at_rename.c watches."""
    folder = tempfile.mkdtemp(prefix="qz-preloaded-")
    test.addCleanup(shutil.rmtree, folder, True)
    library = os.path.join(folder, "preloaded.so")
    source = os.path.join(CHECKOUT, "tests", "tool", "kill_at_rename.c")
    subprocess.run(["cc", "-shared", "-fPIC", "-o", library, source, "-ldl"], check=True)
    return {"LD_PRELOAD": library, **variables,
            "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"}


def reset(connection):
    """Closes so that the peer sees a reset instead of an end."""
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()


def finish(connection):
    """Closes so that the peer sees an orderly end, whatever it still sends."""
    try:
        connection.shutdown(socket.SHUT_WR)
        connection.settimeout(2)
        while connection.recv(65536):
            pass
    except OSError:
        pass
    connection.close()


class Server:
    """Accepts on a loopback port and gives each connection, numbered from 0, to a thread."""

    def __init__(self):
        self.listener = ports.listen()
        self.port = self.listener.getsockname()[1]
        self.count = 0
        self.stopping = threading.Event()
        self.thread = threading.Thread(target=self._accept, daemon=True)
        self.thread.start()

    def _accept(self):
        while True:
            try:
                connection, _ = self.listener.accept()
            except OSError:
                return
            connection.settimeout(SOCKET_SECONDS)
            number, self.count = self.count, self.count + 1
            threading.Thread(target=self._serve, args=(connection, number), daemon=True).start()

    def _serve(self, connection, number):
        try:
            self.serve(connection, number)
        except OSError:
            pass
        finally:
            connection.close()

    def serve(self, connection, number):
        raise NotImplementedError

    def stop(self):
        self.stopping.set()
        # A thread that is about to accept would otherwise do so on the next listener with this descriptor.
        with contextlib.suppress(OSError):
            self.listener.shutdown(socket.SHUT_RDWR)
        self.thread.join(SOCKET_SECONDS)
        self.listener.close()

    def stall(self):
        self.stopping.wait(SOCKET_SECONDS)


class HTTPServer(Server):
    """answer(number, request) gives the pieces of an answer: bytes to send, "end", "reset" or "stall".

    `requests` keeps each request text as it came.
    """

    def __init__(self, answer):
        self.answer = answer
        self.requests = []
        super().__init__()

    def serve(self, connection, number):
        request = b""
        while b"\r\n\r\n" not in request:
            more = connection.recv(4096)
            if not more:
                return
            request += more
        text = request.decode("latin-1")
        self.requests.append(text)
        for piece in self.answer(number, text):
            if piece == "reset":
                time.sleep(0.2)
                reset(connection)
                return
            if piece == "stall":
                self.stall()
            elif piece != "end":
                connection.sendall(piece)
        finish(connection)

    def url(self, path):
        return "http://127.0.0.1:%d%s" % (self.port, path)


class KeepingHTTPServer(HTTPServer):
    """answer(number, request) gives the bytes of a response, or None to end the connection without one.

    One connection has any number of requests; number counts the requests.
    """

    def serve(self, connection, _):
        received = b""
        while True:
            while b"\r\n\r\n" not in received:
                more = connection.recv(4096)
                if not more:
                    return
                received += more
            head, _, received = received.partition(b"\r\n\r\n")
            self.requests.append(head.decode("latin-1"))
            response = self.answer(len(self.requests) - 1, self.requests[-1])
            if response is None:
                return
            connection.sendall(response)


def http(status, body=b"", length=None, **headers):
    """The bytes of a response; length: another Content-length than the body's, or "none"."""
    lines = ["HTTP/1.1 " + status]
    if length != "none":
        lines.append("Content-length: %s" % (len(body) if length is None else length))
    lines += ["%s: %s" % (name.replace("_", "-"), value) for name, value in headers.items()]
    return ("\r\n".join(lines) + "\r\n\r\n").encode("latin-1") + body


def range_start(request):
    """The first byte of the request's Range, or None."""
    for line in request.split("\r\n"):
        if line.lower().startswith("range: bytes="):
            return int(line.split("=")[1].split("-")[0])
    return None


def honest(data, request, **headers):
    """The whole answer of a server that does ranges properly."""
    first = range_start(request)
    if first is None:
        return http("200 OK", data, **headers)
    if first >= len(data):
        return http("416 Range Not Satisfiable", b"", Content_Range="bytes */%d" % len(data))
    value = "bytes %d-%d/%d" % (first, len(data) - 1, len(data))
    return http("206 Partial Content", data[first:], Content_Range=value, **headers)


class FTPServer(Server):
    """A small FTP server. What it does wrong is set by attributes before the program runs; each may also be a
    function of the connection's number.

    files        path -> bytes; uploads are added. Every folder of a path exists; "/" is where a login ends
    folders      paths of further folders
    size         answer to SIZE instead of the right one
    rest         False: REST is refused
    cut          (bytes, how): the data connection ends after that many bytes, how: "fin", "reset", "stall"
    final        the reply after the data; "" sends none and closes; "silent" sends none and stays
    pasv         the reply to PASV
    login        the reply to PASS
    dele         the reply to DELE instead of removing the file
    extra        bytes sent after the file
    silent_at_the_end  True: QUIT is not answered, and the connection stays
    commands     every line that came, with its connection's number
    starts       (number, "RETR" or "STOR", path, offset) of every file's data that was begun
    """

    def __init__(self, files=None):
        self.files = dict(files or {})
        self.folders = set()
        self.greeting = "220 ready"
        self.size = None
        self.rest = True
        self.cut = None
        self.final = "226 done"
        self.pasv = None
        self.login = "230 welcome"
        self.dele = None
        self.extra = b""
        self.silent_at_the_end = False
        self.listing = b""
        self.commands = []
        self.starts = []
        super().__init__()

    def url(self, path, login=""):
        return "ftp://%s127.0.0.1:%d/%s" % (login, self.port, path)

    def verbs(self, number=None):
        return [line.split(" ")[0] for n, line in self.commands if number in (None, n)]

    def is_folder(self, path):
        return path == "" or path in self.folders or any(name.startswith(path + "/")
                                                         for name in [*self.files, *self.folders])

    def _value(self, name, number):
        value = getattr(self, name)
        return value(number) if callable(value) else value

    def serve(self, connection, number):
        Session(self, connection, number).run()


class Session:
    def __init__(self, server, connection, number):
        self.server, self.connection, self.number = server, connection, number
        self.offset = 0
        self.folder = ""
        self.passive = None
        self.active = None

    def value(self, name):
        return self.server._value(name, self.number)

    def say(self, line):
        self.connection.sendall((line + "\r\n").encode("latin-1"))

    def run(self):
        try:
            self.converse()
        finally:
            if self.passive:
                self.passive.close()

    def converse(self):
        self.say(self.value("greeting"))
        for raw in self.connection.makefile("rb"):
            line = raw.decode("latin-1").rstrip("\r\n")
            self.server.commands.append((self.number, line))
            verb, _, argument = line.partition(" ")
            if verb == "QUIT":
                if self.value("silent_at_the_end"):
                    self.server.stall()
                else:
                    self.say("221 bye")
                return
            handler = getattr(self, "on_" + verb.lower(), None)
            if handler is None:
                self.say("502 not known")
            elif handler(argument) == "close":
                return

    def on_user(self, name):
        self.say("331 password")

    def on_pass(self, password):
        self.say(self.value("login"))

    def on_type(self, kind):
        self.say("200 type set")

    def resolve(self, name):
        """The path of a name that is told relative to the current folder."""
        return posixpath.normpath(posixpath.join("/", self.folder, name)).strip("/")

    def on_cwd(self, name):
        path = self.resolve(name)
        if not self.server.is_folder(path):
            self.say("550 no such folder")
            return
        self.folder = path
        self.say("250 there")

    def on_mdtm(self, name):
        self.say("213 20260304050607" if self.resolve(name) in self.server.files else "550 no file")

    def on_dele(self, name):
        dele = self.value("dele")
        if dele is not None:
            self.say(dele)
        elif self.server.files.pop(self.resolve(name), None) is None:
            self.say("550 no file")
        else:
            self.say("250 removed")

    def on_size(self, name):
        size = self.value("size")
        path = self.resolve(name)
        if size is not None:
            self.say(size)
        elif path in self.server.files:
            self.say("213 %d" % len(self.server.files[path]))
        else:
            self.say("550 no file")

    def on_rest(self, offset):
        if not self.value("rest"):
            self.say("502 no REST")
            return
        self.offset = int(offset)
        self.say("350 at " + offset)

    def on_pasv(self, _):
        reply = self.value("pasv")
        if reply is not None:
            self.say(reply)
            return
        self.passive = ports.listen()
        self.passive.settimeout(SOCKET_SECONDS)
        port = self.passive.getsockname()[1]
        self.say("227 passive (127,0,0,1,%d,%d)" % (port >> 8, port & 255))

    def on_port(self, text):
        numbers = [int(number) for number in text.split(",")]
        self.active = (".".join(map(str, numbers[:4])), numbers[4] * 256 + numbers[5])
        self.say("200 port set")

    def open_data(self):
        if self.active:
            data = socket.create_connection(self.active, SOCKET_SECONDS)
            self.active = None
        else:
            data, _ = self.passive.accept()
            self.passive.close()
        data.settimeout(SOCKET_SECONDS)
        return data

    def begin(self, verb, path):
        """The offset that REST has set; it holds once."""
        offset, self.offset = self.offset, 0
        self.server.starts.append((self.number, verb, path, offset))
        return offset

    def end_data(self):
        final = self.value("final")
        if final == "silent":
            self.server.stall()
            return "close"
        if final == "":
            return "close"
        self.say(final)
        return None

    def send(self, data, content):
        cut = self.value("cut")
        try:
            if cut is not None:
                data.sendall(content[:cut[0]])
                if cut[1] == "stall":
                    self.server.stall()
                elif cut[1] == "reset":
                    time.sleep(0.2)
                    reset(data)
                else:
                    data.close()
                return "close"
            data.sendall(content + self.server.extra)
            data.close()
        except OSError:
            return "close"
        return self.end_data()

    def on_retr(self, name):
        if not self.active and not self.passive:
            self.say("425 no data connection")
            return None
        path = self.resolve(name)
        if path not in self.server.files:
            self.say("550 no file")
            return None
        self.say("150 here it comes")
        offset = self.begin("RETR", path)
        return self.send(self.open_data(), self.server.files[path][offset:])

    def on_list(self, _):
        self.say("150 here it comes")
        return self.send(self.open_data(), self.server.listing)

    on_nlst = on_list

    def on_stor(self, name):
        path = self.resolve(name)
        if not self.server.is_folder(posixpath.dirname(path)):
            self.say("553 no such folder")
            return None
        self.say("150 send it")
        data = self.open_data()
        offset = self.begin("STOR", path)
        kept = self.server.files.get(path, b"")[:offset]
        cut = self.value("cut")
        received = bytearray()
        while True:
            limit = 65536 if cut is None else min(65536, cut[0] - len(received))
            more = data.recv(limit) if limit > 0 else b""
            received += more
            self.server.files[path] = kept + bytes(received)
            if not more:
                break
        if cut is not None:
            reset(data)
            return "close"
        data.close()
        return self.end_data()


class Home(Session):
    """A login ends in /home/me; its password is "geheim"."""

    def __init__(self, server, connection, number):
        super().__init__(server, connection, number)
        self.folder = "home/me"

    def on_user(self, name):
        self.user = name
        self.say("331 password")

    def on_pass(self, password):
        self.say("230 welcome" if (self.user, password) == ("me", "geheim") else "530 no")


class HomeServer(FTPServer):
    def serve(self, connection, number):
        Home(self, connection, number).run()
