"""Packages of npm are installed by their sums alone where nothing else can be trusted, and never without them.

  npm_ci_test.py SOURCE_FOLDER

The registry is one of this test's own on loopback; it signs its certificate itself.
"""
import base64
import hashlib
import http.server
import io
import json
import os
import ssl
import subprocess
import sys
import tarfile
import tempfile
import threading
import unittest

ROOT = os.path.abspath(sys.argv[1])
NPM_CI = os.path.join(ROOT, "cmake", "npm-ci")


def package(name):
    """The package as its registry has it: a tar file."""
    data = io.BytesIO()
    with tarfile.open(fileobj=data, mode="w:gz") as tar:
        for path, text in (("package.json", json.dumps({"name": name, "version": "1.0.0"})),
                           ("index.js", "require('helper')" if name == "questions" else "")):
            info = tarfile.TarInfo(f"package/{path}")
            info.size = len(text)
            tar.addfile(info, io.BytesIO(text.encode()))
    return data.getvalue()


PACKAGES = {name: package(name) for name in ("questions", "helper")}


def sum_of(data):
    return "sha512-" + base64.b64encode(hashlib.sha512(data).digest()).decode()


class Registry(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.server.asked.append((self.path, self.headers.get("Authorization")))
        name, _, file = self.path.strip("/").partition("/")
        if file:
            body = PACKAGES[name]
        else:
            dist = {"tarball": f"{self.server.address}{name}/package.tgz", "integrity": sum_of(PACKAGES[name])}
            body = json.dumps({"name": name, "dist-tags": {"latest": "1.0.0"},
                               "versions": {"1.0.0": {"name": name, "version": "1.0.0", "dist": dist}}}).encode()
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *arguments):
        pass


class NpmCi(unittest.TestCase):
    def setUp(self):
        temp = tempfile.TemporaryDirectory()
        self.addCleanup(temp.cleanup)
        self.folder = temp.name
        for name in ("home", "locked", "tmp"):
            os.mkdir(self.path(name))
        self.serve()
        # What the user is known by to this registry.
        with open(self.path("home/.npmrc"), "w", encoding="utf-8") as file:
            file.write(f"{self.server.address.partition(':')[2]}:_authToken=the-users-secret\n")
        self.lock({})

    def path(self, name):
        return os.path.join(self.folder, name)

    def serve(self):
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=localhost",
                        "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1", "-keyout", self.path("key"),
                        "-out", self.path("certificate")], check=True, capture_output=True, timeout=60)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.path("certificate"), self.path("key"))
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Registry)
        self.server.socket = context.wrap_socket(self.server.socket, server_side=True, do_handshake_on_connect=False)
        self.server.address = f"https://127.0.0.1:{self.server.server_port}/"
        self.server.asked = []
        self.server.handle_error = lambda *arguments: None
        thread = threading.Thread(target=self.server.serve_forever)
        thread.start()
        self.addCleanup(thread.join)
        self.addCleanup(self.server.server_close)
        self.addCleanup(self.server.shutdown)

    def lock(self, sums):
        """Writes the lock file, with other sums than the packages' own where SUMS has one."""
        entries = {f"node_modules/{name}": {"version": "1.0.0", "integrity": sums.get(name, sum_of(data))}
                   for name, data in PACKAGES.items()}
        entries["node_modules/questions"]["optionalDependencies"] = {"helper": "1.0.0"}
        entries["node_modules/helper"]["optional"] = True
        top = {"name": "test", "dependencies": {"questions": "1.0.0"}}
        for name, value in (("package.json", top),
                            ("package-lock.json", {**top, "lockfileVersion": 3, "packages": {"": top, **entries}})):
            with open(self.path(f"locked/{name}"), "w", encoding="utf-8") as file:
                json.dump(value, file)

    def install(self, **variables):
        environment = {"PATH": os.environ["PATH"], "HOME": self.path("home"), "TMPDIR": self.path("tmp"),
                       "npm_config_registry": self.server.address, "npm_config_fetch_retries": "0", **variables}
        result = subprocess.run([NPM_CI, self.path("locked"), self.path("out")], env=environment, stdin=subprocess.DEVNULL,
                                capture_output=True, text=True, timeout=300, check=False)
        self.assertEqual(os.listdir(self.path("tmp")), [])
        return result

    def check_installed(self):
        for name in PACKAGES:
            self.assertTrue(os.path.exists(self.path(f"out/node_modules/{name}/index.js")), name)

    def test_an_unknown_authority_is_no_obstacle_where_the_sums_are_right(self):
        result = self.install()
        self.assertEqual((result.returncode, result.stdout), (0, ""), result.stderr)
        self.assertRegex(result.stderr, r"\Anpm-ci: .*SHA-512 sums alone\n\Z")
        self.check_installed()

    def test_who_is_not_known_learns_no_secret_and_leaves_nothing_in_the_cache(self):
        self.assertEqual(self.install().returncode, 0)
        self.assertTrue(self.server.asked)
        self.assertEqual({secret for _, secret in self.server.asked}, {None})
        stored = [os.path.join(at, name) for at, _, names in os.walk(self.path("home/.npm/_cacache")) for name in names]
        self.assertEqual(stored, [])

    def test_a_known_authority_is_asked_in_the_usual_way(self):
        result = self.install(npm_config_cafile=self.path("certificate"))
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
        self.assertEqual({secret for _, secret in self.server.asked}, {"Bearer the-users-secret"})
        self.check_installed()

    def test_what_is_there_is_not_asked_for_again(self):
        self.assertEqual(self.install().returncode, 0)
        self.server.asked.clear()
        result = self.install()
        self.assertEqual((result.returncode, result.stderr, self.server.asked), (0, "", []))

    def test_another_lock_file_is_another_installation(self):
        self.assertEqual(self.install().returncode, 0)
        self.lock({"questions": sum_of(b"another version")})
        self.assertNotEqual(self.install().returncode, 0)

    def test_a_wrong_sum_is_refused(self):
        for variables in ({}, {"npm_config_cafile": self.path("certificate")}):
            self.lock({"questions": sum_of(b"something else")})
            result = self.install(**variables)
            self.assertNotEqual(result.returncode, 0)
            self.assertIn("EINTEGRITY", result.stderr)
            self.assertFalse(os.path.exists(self.path("out/node_modules/questions")))

    def test_a_wrong_sum_of_an_optional_package_is_refused_too(self):
        self.lock({"helper": sum_of(b"something else")})
        for _ in range(2):
            result = self.install()
            self.assertNotEqual(result.returncode, 0)
            self.assertIn("Cannot find module 'helper'", result.stderr)

    def test_no_registry_is_an_error_of_its_own(self):
        result = self.install(npm_config_registry="http://127.0.0.1:9/")
        self.assertNotEqual(result.returncode, 0)
        self.assertNotIn("sums alone", result.stderr)
        self.assertRegex(result.stderr, "ECONNREFUSED|EACCES")
        self.assertEqual(self.server.asked, [])

    def test_every_package_of_the_examples_has_a_sum_and_is_of_no_particular_registry(self):
        with open(os.path.join(ROOT, "docs", "examples", "package-lock.json"), encoding="utf-8") as file:
            packages = json.load(file)["packages"]
        del packages[""]
        for name, entry in packages.items():
            self.assertRegex(entry["integrity"], r"\Asha512-[A-Za-z0-9+/]{86}==\Z", name)
            self.assertNotIn("resolved", entry, name)
        for platform in ("linux-x64", "darwin-x64", "darwin-arm64"):
            self.assertTrue([name for name in packages if name.endswith(platform)], platform)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
