"""Where credentials can be found after a crash and an upload: in the helper's argument lines, as documented, only.

  secrets_test.py VARNOOK FRAMEWORKS HOST_APP ORU_REPORT
"""
import os
import subprocess
import sys
import tempfile
import unittest
import zipfile

VARNOOK, FRAMEWORKS, HOST_APP, ORU_REPORT = sys.argv[1:5]
SECRETS = {"-akid": "AKID-made-up-4711", "-akscrt": "SECRET-made-up-0815", "-sectkn": "TOKEN-made-up-2342"}


def contents(folder):
    """Every file below the folder, those inside archives too: (name, bytes)."""
    for base, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(base, name)
            with open(path, "rb") as file:
                yield path, file.read()
            if zipfile.is_zipfile(path):
                with zipfile.ZipFile(path) as archive:
                    for member in archive.namelist():
                        yield path + "!" + member, archive.read(member)


class Secrets(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        folder = cls.folder = cls.temporary.name
        # The variables of the environment are secrets of the app's.
        environment = dict(os.environ, HOME=os.path.join(folder, "home"), ORU_APP_SECRET="ENVIRONMENT-made-up-1234")
        logs = os.path.join(folder, "logs")
        os.mkdir(environment["HOME"])
        with open(os.path.join(folder, "app.err"), "wb") as err:
            app = subprocess.run([HOST_APP, "--log-dir", logs, "--dump-dir", os.path.join(logs, "crashes"),
                                  "--sdk-version", "6.1.0", "--show-module-log", "--worker", "--crash", "segv"],
                                 env=environment, stdout=err, stderr=err, timeout=60, check=False)
        assert app.returncode < 0, "the app did not crash"
        command = [VARNOOK, "-action", "uploadLog", "-libp", FRAMEWORKS, "-apid", "app", "-edpt",
                   "file://" + os.path.join(folder, "arrived"), "-bukt", "logs", "-logp", logs]
        for key, value in SECRETS.items():
            command += [key, value]
        upload = subprocess.run(command, env=environment, capture_output=True, timeout=60, check=True)
        cls.log = (upload.stdout + upload.stderr).decode()
        for name in os.listdir(os.path.join(logs, "crashes", "6.1.0")):
            report = os.path.join(logs, "crashes", "6.1.0", name)
            subprocess.run([ORU_REPORT, "html", "--no-source", "--output", os.path.join(folder, "page.html"), report],
                           check=True, timeout=60)

    @classmethod
    def tearDownClass(cls):
        cls.temporary.cleanup()

    def test_no_file_holds_them(self):
        files = dict(contents(self.folder))
        names = " ".join(files)
        for expected in ("host_app.log", "host_app_trace.json", "Crash_", "page.html", ".zip!"):
            self.assertIn(expected, names)
        for path, data in files.items():
            for secret in [*SECRETS.values(), "ENVIRONMENT-made-up-1234"]:
                self.assertNotIn(secret.encode(), data, path)
                self.assertNotIn(secret, path)

    def test_each_is_logged_in_its_own_argument_line_alone(self):
        for key, secret in SECRETS.items():
            lines = [line for line in self.log.splitlines() if secret in line]
            self.assertEqual(len(lines), 1, self.log)
            self.assertRegex(lines[0], rf"SAT:Arg \d+: {key} - {secret}$")

    def test_the_log_is_of_an_upload_that_worked(self):
        self.assertIn("varnook upload_log return:0", self.log)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
