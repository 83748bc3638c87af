"""Two local folders for tests of qz sync, and what they and the tables hold."""

from support import *

TOO_MUCH, CONFLICT, INCOMPLETE = 9, 10, 11
EARLY = 1_000_000_000  # seconds; each later change is told by its time


# A start of the program takes a second or more under Wine, where QZ_SYNC_ALL=1 runs these too.
one_system = unittest.skipIf(on_windows() and not os.environ.get("QZ_SYNC_ALL"), "the same code on both systems")


def contents(folder):
    """Every file and folder below, with its bytes and its time in nanoseconds."""
    found = {}
    for root, folders, files in os.walk(folder):
        for name in folders:
            found[os.path.relpath(os.path.join(root, name), folder) + "/"] = None
        for name in files:
            path = os.path.join(root, name)
            with open(path, "rb") as file:
                found[os.path.relpath(path, folder)] = (file.read(), os.stat(path).st_mtime_ns)
    return found


class SyncTest(ProgramTest):
    """Folders "a" (the source) and "b" (the destination), and a folder of tables."""

    def setUp(self):
        super().setUp()
        self.tables = self.folder + "-sync"
        self.addCleanup(shutil.rmtree, self.tables, True)
        environment = unittest.mock.patch.dict(os.environ, QZ_SYNC=system_path(self.tables))
        environment.start()
        self.addCleanup(environment.stop)
        os.mkdir(self.path("a"))
        os.mkdir(self.path("b"))

    def put(self, name, text, seconds=EARLY):
        """Writes a file; "a/x=1 b/y=2" writes several."""
        path = self.path(name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        self.write(name, text.encode() if isinstance(text, str) else text)
        os.utime(path, (seconds, seconds))

    def put_all(self, text, seconds=EARLY):
        for word in text.split():
            name, _, content = word.partition("=")
            self.put(name, content, seconds)

    def remove(self, *names):
        for name in names:
            os.remove(self.path(name))

    def tree(self, name):
        """"x=1 sub/y=2": the files below."""
        files = contents(self.path(name))
        return " ".join("%s=%s" % (path, value[0].decode()) for path, value in sorted(files.items())
                        if value is not None)

    def both(self):
        return self.tree("a") + " | " + self.tree("b")

    def sync(self, *options, code=DONE, **more):
        return self.expect(code, "sync", "a", "b", *options, **more)

    def summary(self, result):
        """"copied deleted equal conflicts kept failed" of the last line."""
        line = result.errors.rstrip("\r\n").split("\n")[-1]
        return " ".join(word.replace(",", "") for word in line.split() if word.replace(",", "").isdigit())

    def table_names(self):
        return sorted(os.listdir(self.tables)) if os.path.isdir(self.tables) else []
