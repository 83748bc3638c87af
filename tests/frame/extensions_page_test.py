"""docs/extensions.md is true: its pieces are the example, its calls compile, its commands run; and what the extensions
are made of.

Run from the checkout after both builds: python3 -m unittest discover -s tests/frame -p '*_test.py'
"""
import gzip
import http.server
import os
import re
import shutil
import subprocess
import tempfile
import threading
import unittest

from frame_test import LINUX, ROOT, WINDOWS, read, run, sources

EXTENSIONS = ("checksum.AXT", "gunzip.AXT")
HELLO = b"hello\n"
FILES = {"/hello.txt": HELLO, "/hello.txt.gz": gzip.compress(HELLO, mtime=0)}


def blocks(language):
    return re.findall(r"^```%s\n(.*?)^```$" % language, read("docs/extensions.md"), flags=re.M | re.S)


def needed(program, *command):
    return set(re.findall(r"(?:NEEDED|DLL Name:)\s+(\S+)", run(*command, "-p", program).stdout))


class Server(http.server.ThreadingHTTPServer):
    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            body = self.server.files.get(self.path)
            self.send_response(200 if body is not None else 404)
            self.send_header("Content-Length", str(len(body or b"")))
            self.end_headers()
            self.wfile.write(body or b"")

        def log_message(self, *arguments):
            pass

    def __init__(self):
        super().__init__(("127.0.0.1", 0), Server.Handler)
        digest = subprocess.run(["sha256sum"], input=FILES["/hello.txt.gz"], capture_output=True, check=True)
        self.files = dict(FILES, **{"/hello.txt.gz.sha256": digest.stdout})
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def url(self, path=""):
        return "http://127.0.0.1:%d%s" % (self.server_port, path)

    def end(self):
        self.shutdown()
        self.server_close()


class Installed(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="qz-page-")
        self.addCleanup(shutil.rmtree, self.folder, True)
        self.server = Server()
        self.addCleanup(self.server.end)

    def install(self, build, name):
        prefix = os.path.join(self.folder, name)
        self.succeed(run("cmake", "--install", build, "--prefix", prefix))
        return prefix

    def succeed(self, result):
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        return result

    def test_the_pieces_of_the_page_are_the_example(self):
        pieces = blocks("c")[2:]
        self.assertEqual("\n".join(pieces), read("docs/examples/bytesum.c"))

    def test_the_tables_of_methods_are_what_the_library_declares(self):
        source = read("transfer/vrxextension.cpp")
        strings = re.search(r"kExtensionSignature\[\] =((?:\s*\"[^\"]*\")+);", source).group(1)
        rows = re.findall(r"^\| `(\.?\w+)` \|[^|]*\|([^|]*)\|", read("docs/extensions.md"), flags=re.M)
        told = "".join("%s(%s);" % (name, ",".join(re.findall(r"`(\w+=[\w*]+)`", parameters)))
                       for name, parameters in rows)
        self.assertEqual(told, "".join(re.findall(r'"([^"]*)"', strings)))
        declared = re.findall(r"\{(nullptr|\"\w+\"), \"(\w+)\",\s*\"([^\"]*)\",\s*nullptr\}", source)
        classes = re.findall(r'^\| "(\w+)" \| (?:"(\w+)")? ?\| `([^`]*)` \|', read("docs/extensions.md"), flags=re.M)
        self.assertEqual([(name, below or "nullptr", text) for name, below, text in classes],
                         [(name, below.strip('"'), text) for below, name, text in declared])

    def test_the_calls_of_the_page_compile(self):
        calls = blocks("c")[:2]
        self.assertEqual([call.split('"')[1] for call in calls], ["Checksum", "Gunzip"])
        for call in calls:
            source = os.path.join(self.folder, "call.c")
            with open(source, "w", encoding="utf-8") as file:
                file.write("#include <qz/qz.h>\nint32_t Call(VRXClient* client, const char* digest);\n"
                           "int32_t Call(VRXClient* client, const char* digest) {\n(void)digest;\nreturn %s}\n" % call)
            self.succeed(run("gcc", "-std=c11", "-Wall", "-Wextra", "-Werror", "-fsyntax-only", "-I",
                             os.path.join(ROOT, "include"), source))

    def test_the_commands_of_the_page_run(self):
        work = os.path.join(self.folder, "work")
        shutil.copytree(os.path.join(ROOT, "docs", "examples"), os.path.join(work, "docs", "examples"))
        script = "".join(blocks("sh"))
        for text, real in (("/opt/qz-windows", self.install(WINDOWS, "w")), ("/opt/qz", self.install(LINUX, "l")),
                           ("http://127.0.0.1:8080", self.server.url())):
            self.assertIn(text, script)
            script = script.replace(text, real)
        result = self.succeed(run("bash", "-euc", script, cwd=work))
        self.assertIn("The bytes add up to 542, expected 542.\n", result.stdout)
        self.assertIn('"hello2.txt.gz" is verified', result.stdout)
        self.assertIn('Unpacked to "hello2.txt".\n', result.stdout)
        with open(os.path.join(work, "hello2.txt"), "rb") as file:
            self.assertEqual(file.read(), HELLO)
        self.assertTrue(os.path.exists(os.path.join(work, "bytesum.AXT")))
        wrong = run("program/checked", self.server.url("/hello.txt"), "hello3.txt", "bytesum=541", cwd=work)
        self.assertEqual(wrong.returncode, 1)
        self.assertIn("The bytes add up to 542, expected 541.\n", wrong.stdout)

    def check_installed(self, build, compiler, program, *runner):
        """A program beside qz finds the extensions that are installed there."""
        prefix = self.install(build, "installed")
        built = os.path.join(prefix, "bin", program)
        self.succeed(run(compiler, os.path.join(ROOT, "docs", "examples", "checked.c"), "-I",
                         os.path.join(prefix, "include"), "-L", os.path.join(prefix, "lib"), "-lqz",
                         "-Wl,-rpath," + os.path.join(prefix, "lib"), "-o", built))
        result = self.succeed(run(*runner, built, self.server.url("/hello.txt.gz"), "h.txt.gz", "sha256", "unpack",
                                  cwd=self.folder))
        self.assertIn('"h.txt.gz" is verified', result.stdout)
        with open(os.path.join(self.folder, "h.txt"), "rb") as file:
            self.assertEqual(file.read(), HELLO)

    def test_a_program_of_the_installed_linux_package_finds_the_extensions(self):
        self.check_installed(LINUX, "gcc", "checked")

    def test_a_program_of_the_installed_windows_package_finds_the_extensions(self):
        self.check_installed(WINDOWS, "i686-w64-mingw32-gcc-posix", "checked.exe",
                             os.path.join(ROOT, "scripts", "wine-run"))


class Made(unittest.TestCase):
    def test_the_extensions_see_only_the_public_headers(self):
        wrong = []
        own = {os.path.basename(path) for path in sources("extensions")}
        for path in sources("extensions"):
            for include in re.findall(r'^\s*#\s*include\s+"([^"]+)"', read(path), flags=re.M):
                if not include.startswith("qz/") and include not in own:
                    wrong.append(f"{path} includes {include}")
        self.assertEqual(wrong, [])

    def test_the_linux_extensions_need_the_library_and_what_they_are_for(self):
        for name, more in (("checksum.AXT", set()), ("gunzip.AXT", {"libz.so.1"})):
            libraries = needed(os.path.join(LINUX, "extensions", name), "objdump")
            self.assertIn("libqz.so.0", libraries)
            self.assertEqual(libraries - {"libc.so.6", "libqz.so.0"}, more, name)

    def test_the_windows_extensions_import_the_library_and_the_system_only(self):
        for name in EXTENSIONS:
            libraries = needed(os.path.join(WINDOWS, "extensions", name), "i686-w64-mingw32-objdump")
            self.assertEqual({library.upper() for library in libraries}, {"QZ.DLL", "KERNEL32.DLL", "MSVCRT.DLL"})

    def test_program_and_library_do_not_need_an_extension(self):
        for program in (os.path.join(LINUX, "qz"), os.path.join(LINUX, "libqz.so")):
            self.assertEqual({name for name in needed(program, "objdump") if "AXT" in name or "libz" in name}, set())


if __name__ == "__main__":
    unittest.main()
