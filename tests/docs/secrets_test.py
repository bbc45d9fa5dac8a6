"""Where credentials can be found after a crash and an upload: in the helper's argument lines, as documented, only.

  secrets_test.py DEMO BUILD_FOLDER

Runs the demonstration, and then its programs in ways that it does not show: failed uploads, a store that sends back
what it got, all outputs of oru-report.
"""
import base64
import http.server
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import unittest
import urllib.parse
import zipfile

DEMO, BUILD = sys.argv[1:3]
VARNOOK = os.path.join(BUILD, "helper", "varnook")
FRAMEWORKS = os.path.join(BUILD, "frameworks")
HOST_APP = os.path.join(BUILD, "examples", "host_app", "host_app")
ORU_REPORT = os.path.join(BUILD, "oru_report", "oru-report")
SECRETS = {"-akid": "AKID/made+up=4711", "-akscrt": "SECRET/made+up=0815", "-sectkn": "TOKEN/made+up=2342"}
# What a report is meant to hold: where this is found, a secret would be, too.
CONTROL = "no-secret-made-up-1234"
# The app has them all in its environment, as an app that starts the helper may.
ENVIRONMENT = dict(os.environ, no_proxy="*", ORU_SDK_RETRY_PAUSE_MS="1",
                   **{f"APP_SECRET_{number}": secret for number, secret in enumerate(SECRETS.values())})


def forms(secret):
    """The bytes of a secret as they stand, and encoded in the usual ways."""
    plain = secret.encode()
    yield plain
    for quoted in (urllib.parse.quote(secret, safe=""), urllib.parse.quote(secret)):
        yield quoted.encode()
        yield re.sub("%..", lambda match: match[0].lower(), quoted).encode()
    yield plain.hex().encode()
    yield plain.hex().upper().encode()
    # In base64, what the bytes around it have no part in.
    for before in range(3):
        first, last = -(-before * 8 // 6), (before + len(plain)) * 8 // 6
        code = base64.b64encode(bytes(before) + plain)[first:last]
        yield code
        yield code.translate(bytes.maketrans(b"+/", b"-_"))


FORMS = {form for secret in SECRETS.values() for form in forms(secret)}


def found_in(data):
    return [form for form in FORMS if form in data]


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


def run(*command):
    """Exit status and everything that was printed."""
    done = subprocess.run(command, env=ENVIRONMENT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60,
                          check=False)
    return done.returncode, done.stdout


class Echo(http.server.BaseHTTPRequestHandler):
    """Refuses, and sends back all that it was sent."""

    def do_PUT(self):
        headers = str(self.headers).encode()
        Echo.seen = headers + self.rfile.read(int(self.headers["Content-Length"]))
        # The reason phrase is one line.
        self.send_response(403, self.headers["x-amz-security-token"] + " " + self.headers["Authorization"])
        self.end_headers()
        self.wfile.write(headers)

    def log_message(self, *arguments):
        pass


class SecretsTest(unittest.TestCase):
    def check_files(self, folder, expected):
        files = dict(contents(folder))
        names = " ".join(files)
        for part in expected:
            self.assertIn(part, names)
        for path, data in files.items():
            self.assertEqual(found_in(data), [], path)
            self.assertEqual(found_in(path.encode()), [])
        return files

    def check_log(self, log, keys):
        """Each in its own argument line, as it stands, and nowhere else."""
        others = []
        found = []
        for line in log.decode().splitlines():
            for key in keys:
                if re.search(rf"SAT:Arg \d+: {key} - {re.escape(SECRETS[key])}$", line):
                    found.append(key)
                    break
            else:
                others.append(line)
        self.assertEqual(sorted(found), sorted(keys), log)
        self.assertEqual(found_in("\n".join(others).encode()), [], log)


class Search(unittest.TestCase):
    def test_finds_what_is_encoded(self):
        for secret in SECRETS.values():
            for number in range(6):
                data = bytes(range(number)) + secret.encode() + b"behind"
                for code in (data, data.hex().encode(), data.hex().upper().encode(), base64.b64encode(data),
                             base64.urlsafe_b64encode(data), urllib.parse.quote(data, safe="").encode(),
                             urllib.parse.quote(data).encode()):
                    self.assertTrue(found_in(code), code)
        self.assertEqual(found_in(b"nothing of the kind"), [])


class Demonstration(SecretsTest):
    def test_prints_and_leaves_no_credential(self):
        folder = os.path.join(BUILD, "demo-run")
        self.addCleanup(shutil.rmtree, folder, ignore_errors=True)
        ENVIRONMENT.update(DEMO_ACCESS_KEY=SECRETS["-akid"], DEMO_SECRET_KEY=SECRETS["-akscrt"])
        status, output = run(DEMO, "--build", BUILD)
        self.assertEqual(status, 0, output)
        self.assertIn(b"varnook upload_log return:0", output)
        self.assertIn(b" -akid *** -akscrt *** ", output)
        for key in (b"-akid", b"-akscrt"):
            self.assertRegex(output, rb"SAT:Arg \d+: " + key + rb" - \*\*\*\n")
        self.check_log(output, [])
        self.check_files(folder, ["host_app.log", "Crash_demo-app_demo-session_Signal_", ".zip!crashes/"])


class Programs(SecretsTest):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.temporary.cleanup)
        cls.folder = cls.temporary.name
        cls.logs = os.path.join(cls.folder, "logs")
        home = os.path.join(cls.folder, "home")
        os.mkdir(home)
        ENVIRONMENT["HOME"] = home
        status, output = run(HOST_APP, "--log-dir", cls.logs, "--dump-dir", os.path.join(cls.logs, "crashes"),
                             "--sdk-version", "6.1.0", "--extra-info", CONTROL, "--show-module-log", "--worker",
                             "--crash", "segv")
        assert status < 0, "the app did not crash"
        with open(os.path.join(cls.folder, "app.out"), "wb") as file:
            file.write(output)

    def upload(self, endpoint):
        command = [VARNOOK, "-action", "uploadLog", "-libp", FRAMEWORKS, "-apid", "app", "-edpt", endpoint,
                   "-bukt", "logs", "-logp", self.logs]
        for key, secret in SECRETS.items():
            command += [key, secret]
        return run(*command)

    def reports(self):
        folder = os.path.join(self.logs, "crashes", "6.1.0")
        return [os.path.join(folder, name) for name in os.listdir(folder)]

    def test_an_upload_leaves_none_in_logs_reports_and_archives(self):
        status, log = self.upload("file://" + os.path.join(self.folder, "arrived"))
        self.assertEqual(status, 0, log)
        self.assertIn(b"varnook upload_log return:0", log)
        self.check_log(log, list(SECRETS))
        files = self.check_files(self.folder, ["app.out", "host_app.log", "host_app_trace.json", "Crash_", ".zip!"])
        with_control = [path for path, data in files.items() if CONTROL.encode() in data]
        self.assertTrue([path for path in with_control if ".zip!crashes/" in path], with_control)

    def test_a_store_that_is_not_there_brings_none_to_light(self):
        with socket.socket() as nobody:
            nobody.bind(("127.0.0.1", 0))
            status, log = self.upload(f"http://127.0.0.1:{nobody.getsockname()[1]}")
        self.assertEqual(status, 251, log)
        self.assertIn(b"OruRTCSdk: upload failed: ", log)
        self.check_log(log, list(SECRETS))

    def test_a_store_that_sends_them_back_brings_none_to_light(self):
        server = http.server.HTTPServer(("127.0.0.1", 0), Echo)
        self.addCleanup(server.server_close)
        thread = threading.Thread(target=server.serve_forever)
        thread.start()
        self.addCleanup(thread.join)
        self.addCleanup(server.shutdown)
        status, log = self.upload(f"http://127.0.0.1:{server.server_address[1]}")
        self.assertEqual(status, 250, log)
        self.assertIn(b"HTTP 403", log)
        self.check_log(log, list(SECRETS))
        # The secret key signs, and is not sent.
        for key in ("-akid", "-sectkn"):
            self.assertIn(SECRETS[key].encode(), Echo.seen)
        self.assertFalse([form for form in forms(SECRETS["-akscrt"]) if form in Echo.seen])

    def test_oru_report_shows_none(self):
        page = os.path.join(self.folder, "page.html")
        for report in self.reports():
            self.assertEqual(run(ORU_REPORT, "html", "--no-source", "--output", page, report)[0], 0)
            status, shown = run(ORU_REPORT, "show", "--no-source", report)
            self.assertEqual(status, 0, shown)
            self.assertIn(CONTROL.encode(), shown)
            self.assertEqual(found_in(shown), [], shown)
        status, listed = run(ORU_REPORT, "list", os.path.join(self.logs, "crashes"))
        self.assertEqual(status, 0, listed)
        self.assertIn(b"  Signal  ", listed)
        self.assertEqual(found_in(listed), [], listed)
        with open(page, "rb") as file:
            text = file.read()
        self.assertIn(CONTROL.encode(), text)
        self.assertEqual(found_in(text), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
