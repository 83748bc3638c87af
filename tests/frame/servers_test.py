"""The scripts of the real servers say which server is missing."""
import os
import subprocess
import tempfile
import unittest

SUPPORT = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "support")


class MissingServers(unittest.TestCase):
    def start(self, script, folder, **environment):
        """Without a download and with an empty cache."""
        tools = os.path.join(folder, "tools")
        os.mkdir(tools)
        with open(os.path.join(tools, "apt-get"), "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\necho no network\nexit 100\n")
        os.chmod(os.path.join(tools, "apt-get"), 0o755)
        full = dict(os.environ, QZ_TEST_CACHE=os.path.join(folder, "cache"), **environment)
        full["PATH"] = tools + ":" + full["PATH"]
        return subprocess.run([os.path.join(SUPPORT, script), "start", os.path.join(folder, "run")], env=full,
                              capture_output=True, text=True, timeout=120, check=False)

    def test_each_script_names_its_server(self):
        for script, environment, message in (
                ("servers_ftp", {"QZ_TEST_VSFTPD": "/nowhere/vsftpd"},
                 "servers: vsftpd is missing: it is not in /nowhere/vsftpd; scripts/setup test installs it\n"),
                ("servers_ftp", {}, "servers: proftpd is missing: it is not in CACHE/proftpd, and its packages "
                                    "cannot be downloaded\n"),
                ("servers_http", {"QZ_TEST_NGINX": "/nowhere/nginx"},
                 "servers: nginx is missing: it is not in /nowhere/nginx; scripts/setup test installs it\n"),
                ("servers_http", {}, "servers: lighttpd is missing: it is not in CACHE/lighttpd, and its packages "
                                     "cannot be downloaded\n")):
            with tempfile.TemporaryDirectory() as folder:
                result = self.start(script, folder, **environment)
                self.assertEqual(result.returncode, 1, result.stderr)
                self.assertIn(message.replace("CACHE", os.path.join(folder, "cache")), result.stderr)
                self.assert_stopped(os.path.join(folder, "run"))

    def assert_stopped(self, folder):
        for name in os.listdir(folder):
            if name.endswith(".pid"):
                with open(os.path.join(folder, name), encoding="utf-8") as file:
                    running = subprocess.run(["ps", "-o", "stat=", "-p", file.read().strip()], capture_output=True,
                                             text=True, check=False).stdout.strip()
                self.assertIn(running[:1], ("", "Z"), name)


if __name__ == "__main__":
    unittest.main()
