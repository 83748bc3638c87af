"""What holds for the tree as a whole: layers, the platform seam, headers, exports, imports, the installed package.

Run from the checkout after both builds: python3 -m unittest discover -s tests/frame -p '*_test.py'
"""
import glob
import http.server
import os
import re
import shutil
import subprocess
import tempfile
import threading
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
LINUX = os.path.join(ROOT, "build", "linux")
WINDOWS = os.path.join(ROOT, "build", "windows")

# A folder may include from itself and from the folders named here.
LAYERS = {
    "os": {"os"},
    "containers": {"os", "containers"},
    "stream": {"os", "containers", "stream"},
    "traverse": {"os", "containers", "stream", "traverse"},
    "config": {"os", "containers", "stream", "config"},
    "net": {"os", "containers", "stream", "traverse", "config", "net"},
    "transfer": {"os", "containers", "stream", "traverse", "config", "net", "transfer"},
    "synchro": {"os", "containers", "stream", "config", "net", "synchro"},
}
# Two known upward calls: an open file is a stream (public header only), and initialisation starts the sockets.
HEADER_LAYER = {
    "directory": "os", "error": "os", "export": "os", "file": "os", "memory": "os", "os": "os",
    "process": "os", "proxy": "os", "pstring": "os", "semaphore": "os", "startup": "os", "string": "os",
    "stringlookup": "os", "thread": "os", "time": "os", "types": "os", "version": "os", "volume": "os",
    "winosfile": "os", "winosregistry": "os", "winosshortcut": "os",
    "hash": "containers", "ptrie": "containers", "stack": "containers",
    "stream": "stream", "memorystream": "stream", "readbufferstream": "stream", "sizestream": "stream",
    "traverse": "traverse",
    "config": "config", "configspec": "config", "configlabel": "config",
    "sock": "net", "remoteaccess": "net", "telnet": "net", "url": "net", "ftpc": "net", "httpc": "net",
    "reply": "net",
    "agent": "transfer", "agentclass": "transfer", "agentparam": "transfer", "softobject": "transfer",
    "qmdclient": "transfer", "vrxclient": "transfer", "vrxclientsystem": "transfer", "vrxprefs": "transfer",
    "vrxupgrade": "transfer",
    "synchro": "synchro",
    "qz": "none",  # all of them; the library's own files name what they use
}
ALLOWED_UPWARD = {("os", "qz/stream.h")}


def read(path):
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        return file.read()


def sources(*folders):
    for folder in folders:
        for path in sorted(glob.glob(os.path.join(ROOT, folder, "**", "*"), recursive=True)):
            if path.endswith((".cpp", ".h", ".c")):
                yield os.path.relpath(path, ROOT)


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, timeout=300, **options)


def public_headers():
    return sorted(glob.glob(os.path.join(ROOT, "include", "qz", "*.h")))


def without_comments(text):
    return re.sub(r"/\*.*?\*/|//[^\n]*", "", text, flags=re.S)


def declared_functions():
    names = set()
    for header in public_headers():
        text = re.sub(r"^\s*#.*$", "", without_comments(read(header)), flags=re.M)
        names.update(re.findall(r"QZ_API\s[^;{(]*?\b(_?[A-Za-z][A-Za-z0-9]*(?:_[A-Za-z0-9]+)*)\s*\(", text))
    return names


class Layers(unittest.TestCase):
    def test_every_public_header_has_its_layer(self):
        self.assertEqual({os.path.basename(path)[:-len(".h")] for path in public_headers()}, set(HEADER_LAYER))

    def test_no_folder_includes_upward(self):
        wrong = []
        for path in sources(*LAYERS):
            layer = path.split(os.sep)[0]
            for include in re.findall(r'^\s*#\s*include\s+"([^"]+)"', read(path), flags=re.M):
                first = include.split("/")[0]
                if first == "qz":
                    first = HEADER_LAYER.get(include[len("qz/"):-len(".h")], "unknown")
                if first not in LAYERS[layer] and (layer, include) not in ALLOWED_UPWARD:
                    wrong.append(f"{path} includes {include}")
        self.assertEqual(wrong, [])

    def test_the_program_sees_only_the_public_headers(self):
        wrong = []
        for path in sources("tool"):
            for include in re.findall(r'^\s*#\s*include\s+"([^"]+)"', read(path), flags=re.M):
                if include.split("/")[0] not in ("qz", "tool"):
                    wrong.append(f"{path} includes {include}")
        self.assertEqual(wrong, [])


class Seam(unittest.TestCase):
    PLATFORM = re.compile(r"^\s*#\s*(?:el)?if.*(_WIN32|WIN32|__linux__|__unix__|__MINGW|_MSC_VER|__APPLE__)", re.M)
    NATIVE = re.compile(r"#\s*include\s*<(windows|winsock|winreg|unistd|sys/|fcntl|poll|netdb|pthread|dirent)")

    def test_no_other_file_tests_the_platform(self):
        wrong = [path for path in sources(*LAYERS, "include", "tool")
                 if path != os.path.join("include", "qz", "export.h") and self.PLATFORM.search(read(path))]
        self.assertEqual(wrong, [])

    def test_native_headers_stand_only_in_the_bodies(self):
        bodies = (os.path.join("os", "platform", "win32"), os.path.join("os", "platform", "posix"),
                  os.path.join("tool", "win32"), os.path.join("tool", "posix"))
        wrong = [path for path in sources(*LAYERS, "include", "tool")
                 if not path.startswith(bodies) and self.NATIVE.search(read(path))]
        self.assertEqual(wrong, [])

    def test_both_bodies_exist_for_every_neutral_header(self):
        def names(folder):
            return {os.path.splitext(os.path.basename(path))[0] for path in sources(os.path.join("os", "platform", folder))
                    if path.endswith(".cpp")}
        self.assertEqual(names("win32") ^ names("posix"), ONE_SIDED_BODIES & (names("win32") ^ names("posix")))


# Bodies that have nothing to do on the other side: the entry point of the Windows library.
ONE_SIDED_BODIES = {"entry"}


class Headers(unittest.TestCase):
    def compile_alone(self, compiler, *options):
        with tempfile.TemporaryDirectory() as folder:
            for header in public_headers():
                source = os.path.join(folder, "alone" + (".cpp" if "++" in compiler else ".c"))
                with open(source, "w", encoding="utf-8") as file:
                    file.write(f'#include "qz/{os.path.basename(header)}"\nint alone;\n')
                result = run(compiler, *options, "-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow",
                             "-Werror", "-fsyntax-only", "-I", os.path.join(ROOT, "include"), source)
                self.assertEqual(result.returncode, 0, f"{compiler} {os.path.basename(header)}:\n{result.stderr}")

    def test_each_compiles_alone_as_c11(self):
        for compiler in ("gcc", "clang", "i686-w64-mingw32-gcc-posix"):
            self.compile_alone(compiler, "-std=c11")

    def test_each_compiles_alone_as_cpp17(self):
        for compiler in ("g++", "clang++", "i686-w64-mingw32-g++-posix"):
            self.compile_alone(compiler, "-std=c++17")

    def test_every_header_is_in_qz_h(self):
        included = set(re.findall(r'#include "qz/([^"]+)"', read("include/qz/qz.h")))
        self.assertEqual(included, {os.path.basename(path) for path in public_headers()} - {"qz.h"})

    def test_every_function_has_a_comment(self):
        """A block of declarations without a blank line between them may share one comment."""
        bare = []
        for header in public_headers():
            for block in re.split(r"\n\s*\n", read(header)):
                first = block.find("QZ_API")
                if first >= 0 and "*/" not in block[:first] and block.lstrip().startswith("QZ_API"):
                    bare.append(f"{os.path.basename(header)}: {block.splitlines()[0]}")
        self.assertEqual(bare, [])

    def test_the_version_stands_once(self):
        project = re.search(r"project\(qz VERSION ([0-9.]+)", read("CMakeLists.txt")).group(1)
        text = read("include/qz/version.h")
        self.assertIn(f'QZ_VERSION_STRING "{project}"', text)
        major, minor, patch = project.split(".")
        for name, value in (("MAJOR", major), ("MINOR", minor), ("PATCH", patch)):
            self.assertIn(f"QZ_VERSION_{name} {value}\n", text)


class Interface(unittest.TestCase):
    def expected(self):
        return {line for line in read("tests/frame/exports.txt").split("\n") if line and not line.startswith("#")}

    def test_the_declared_interface_is_the_agreed_one(self):
        self.assertEqual(declared_functions(), self.expected())

    def test_the_linux_library_exports_exactly_the_interface(self):
        result = run("nm", "-D", "--defined-only", os.path.join(LINUX, "libqz.so"))
        names = {line.split()[-1].split("@")[0] for line in result.stdout.splitlines() if line}
        self.assertEqual(names, self.expected())

    def test_the_windows_library_exports_exactly_the_interface(self):
        result = run("i686-w64-mingw32-objdump", "-p", os.path.join(WINDOWS, "qz.dll"))
        table = result.stdout.split("[Ordinal/Name Pointer] Table")[1]
        names = set(re.findall(r"^\s*\[\s*\d+\]\s+(\S+)", table, flags=re.M))
        self.assertEqual(names, self.expected())

    def test_the_windows_library_imports_only_system_libraries(self):
        result = run("i686-w64-mingw32-objdump", "-p", os.path.join(WINDOWS, "qz.dll"))
        imported = {name.upper() for name in re.findall(r"DLL Name: (\S+)", result.stdout)}
        self.assertLessEqual(imported, {"KERNEL32.DLL", "USER32.DLL", "ADVAPI32.DLL", "SHELL32.DLL", "OLE32.DLL",
                                        "WSOCK32.DLL", "MSVCRT.DLL"})
        self.assertIn("WSOCK32.DLL", imported)

    def test_the_linux_library_needs_only_the_language_and_the_system(self):
        result = run("objdump", "-p", os.path.join(LINUX, "libqz.so"))
        needed = set(re.findall(r"NEEDED\s+(\S+)", result.stdout))
        self.assertLessEqual(needed, {"libc.so.6", "libm.so.6", "libstdc++.so.6", "libgcc_s.so.1",
                                      "ld-linux-x86-64.so.2"})

    def test_the_stripped_windows_library_takes_at_most_640_kib(self):
        with tempfile.TemporaryDirectory() as folder:
            stripped = os.path.join(folder, "qz.dll")
            result = run("i686-w64-mingw32-strip", "-o", stripped, os.path.join(WINDOWS, "qz.dll"))
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertGreater(os.path.getsize(stripped), 100_000)
            self.assertLessEqual(os.path.getsize(stripped), 655_360)

    def test_nothing_in_the_windows_library_throws(self):
        # What throws brings a fifth of a megabyte of the C++ runtime with it.
        result = run("i686-w64-mingw32-nm", os.path.join(WINDOWS, "qz.dll"))
        names = {line.split()[-1] for line in result.stdout.splitlines()}
        self.assertTrue("_File_Open" in names, result.stderr)
        self.assertFalse([name for name in sorted(names) if re.match(r"_+(cxa_throw|Unwind_RaiseException)$", name)])

    def test_the_windows_library_carries_its_version(self):
        with open(os.path.join(WINDOWS, "qz.dll"), "rb") as file:
            content = file.read()
        version = re.search(r"project\(qz VERSION ([0-9.]+)", read("CMakeLists.txt")).group(1)
        for key, value in (("ProductVersion", version), ("OriginalFilename", "qz.dll")):
            self.assertIn(key.encode("utf-16-le"), content)
            self.assertIn(value.encode("utf-16-le"), content)


class Package(unittest.TestCase):
    def build_consumer(self, build, *configure):
        prefix = os.path.join(build, "installed")
        work = os.path.join(build, "consumer")
        for folder in (prefix, work):
            shutil.rmtree(folder, ignore_errors=True)
        for command in (["cmake", "--install", build, "--prefix", prefix],
                        ["cmake", "-G", "Ninja", "-S", os.path.join(ROOT, "tests", "frame", "consumer"), "-B", work,
                         f"-DCMAKE_PREFIX_PATH={prefix}", *configure],
                        ["cmake", "--build", work]):
            result = run(*command)
            self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        return prefix, work

    def test_a_c_program_uses_the_installed_linux_package(self):
        prefix, work = self.build_consumer(LINUX)
        result = run(os.path.join(work, "consumer"), os.path.join(work, "consumer.log"))
        self.assertIn("consumer: ok", result.stdout)
        self.assertEqual(result.returncode, 0)
        for path in ("bin/qz", "bin/checksum.AXT", "bin/gunzip.AXT", "include/qz/qz.h"):
            self.assertTrue(os.path.exists(os.path.join(prefix, path)), path)
        self.assertEqual(run(os.path.join(prefix, "bin", "qz"), "--version").returncode, 0)

    def test_pkg_config_describes_the_package(self):
        prefix, work = self.build_consumer(LINUX)
        description = glob.glob(os.path.join(prefix, "**", "qz.pc"), recursive=True)[0]
        environment = dict(os.environ, PKG_CONFIG_PATH=os.path.dirname(description))
        flags = run("pkg-config", "--cflags", "--libs", "qz", env=environment).stdout.split()
        program = os.path.join(work, "by-pkg-config")
        result = run("gcc", os.path.join(ROOT, "tests", "frame", "consumer", "consumer.c"), "-o", program, *flags,
                     "-Wl,-rpath," + os.path.dirname(os.path.dirname(description)))
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("consumer: ok", run(program, os.path.join(work, "consumer.log")).stdout)

    def test_pkg_config_finds_the_package_from_a_library_folder_of_several_levels(self):
        with tempfile.TemporaryDirectory() as folder:
            result = run("cmake", "-G", "Ninja", "-S", ROOT, "-B", folder, "-DBUILD_TESTING=OFF",
                         "-DCMAKE_INSTALL_PREFIX=/usr", "-DCMAKE_INSTALL_LIBDIR=lib/x86_64-linux-gnu")
            self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
            installed = os.path.join(folder, "usr", "lib", "x86_64-linux-gnu", "pkgconfig")
            os.makedirs(installed)
            shutil.copy(os.path.join(folder, "qz.pc"), installed)
            environment = dict(os.environ, PKG_CONFIG_PATH=installed)
            for variable, expected in (("prefix", "usr"), ("libdir", "usr/lib/x86_64-linux-gnu"),
                                       ("includedir", "usr/include")):
                value = run("pkg-config", f"--variable={variable}", "qz", env=environment).stdout.strip()
                self.assertEqual(os.path.realpath(value), os.path.realpath(os.path.join(folder, expected)))

    def test_the_example_of_a_transfer_resumes_in_the_next_run(self):
        prefix, work = self.build_consumer(LINUX)
        program = os.path.join(work, "transfer")
        result = run("gcc", "-std=c11", "-Wall", "-Wextra", "-Werror",
                     os.path.join(ROOT, "docs", "examples", "transfer.c"), "-I", os.path.join(prefix, "include"),
                     "-L", os.path.join(prefix, "lib"), "-lqz", "-Wl,-rpath," + os.path.join(prefix, "lib"), "-o", program)
        self.assertEqual(result.returncode, 0, result.stderr)
        content = bytes(range(256)) * 1000
        ranges = []

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                first = int(re.search(r"bytes=(\d+)-", self.headers.get("Range", "bytes=0-")).group(1))
                ranges.append(first)
                self.send_response(206)
                self.send_header("Content-Length", str(len(content) - first))
                self.send_header("Content-Range", "bytes %d-%d/%d" % (first, len(content) - 1, len(content)))
                self.end_headers()
                self.wfile.write(content[first:100000] if first == 0 else content[first:])

            def log_message(self, *arguments):
                pass

        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        with tempfile.TemporaryDirectory() as folder:
            target = os.path.join(folder, "file")
            command = (program, "http://127.0.0.1:%d/file" % server.server_port, target)
            self.assertEqual(run(*command, cwd=folder).returncode, 1)
            self.assertEqual(sorted(os.listdir(folder)), ["transfer.vrx"])
            self.assertEqual(run(*command, cwd=folder).returncode, 0)
            self.assertEqual(ranges, [0, 100000])
            with open(target, "rb") as file:
                self.assertEqual(file.read(), content)
            self.assertEqual(sorted(os.listdir(folder)), ["file"])

    def test_the_first_example_fetches_a_file(self):
        prefix, work = self.build_consumer(LINUX)
        program = os.path.join(work, "fetch")
        result = run("gcc", "-std=c11", "-Wall", "-Wextra", "-Werror", os.path.join(ROOT, "docs", "examples", "fetch.c"),
                     "-I", os.path.join(prefix, "include"), "-L", os.path.join(prefix, "lib"), "-lqz",
                     "-Wl,-rpath," + os.path.join(prefix, "lib"), "-o", program)
        self.assertEqual(result.returncode, 0, result.stderr)
        content = bytes(range(256)) * 1000
        answers = {"/whole": (content, 256000), "/short": (content, 256001)}

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                body, length = answers.get(self.path, (b"", 0))
                self.send_response(200 if self.path in answers else 404)
                self.send_header("Content-Length", str(length))
                self.end_headers()
                if body:
                    self.wfile.write(body)

            def log_message(self, *arguments):
                pass

        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        try:
            for path, code in (("/whole", 0), ("/short", 1), ("/none", 1)):
                result = run(program, "http://127.0.0.1:%d%s" % (server.server_port, path), "out", cwd=work)
                self.assertEqual(result.returncode, code, result.stderr)
                if path == "/whole":
                    self.assertIn("256000 of 256000 bytes\n", result.stderr)
                    with open(os.path.join(work, "out"), "rb") as file:
                        self.assertEqual(file.read(), content)
        finally:
            server.shutdown()
            server.server_close()

    def test_a_c_program_uses_the_installed_windows_package(self):
        prefix, work = self.build_consumer(
            WINDOWS, f"-DCMAKE_TOOLCHAIN_FILE={os.path.join(ROOT, 'cmake', 'mingw-i686.cmake')}")
        shutil.copy(os.path.join(prefix, "bin", "qz.dll"), work)
        result = run(os.path.join(ROOT, "scripts", "wine-run"), os.path.join(work, "consumer.exe"),
                     "/C|/consumer.log", cwd=ROOT)
        self.assertIn("consumer: ok", result.stdout)
        self.assertEqual(result.returncode, 0)
        for path in ("bin/qz.exe", "bin/qz.dll", "bin/checksum.AXT", "bin/gunzip.AXT", "include/qz/qz.h"):
            self.assertTrue(os.path.exists(os.path.join(prefix, path)), path)


if __name__ == "__main__":
    unittest.main()
