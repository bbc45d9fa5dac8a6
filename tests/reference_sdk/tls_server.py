"""Serves PUTs over TLS on a loopback port that it prints.

    tls_server.py CERTIFICATE_AND_KEY CONNECTIONS NEWEST

NEWEST is "1.1", or "" for all versions.

A byte is appended to the file CONNECTIONS for every connection, those whose handshake fails included.
"""
import http.server
import ssl
import sys


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_PUT(self):
        self.rfile.read(int(self.headers["Content-Length"]))
        self.send_response(200)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def log_message(self, *arguments):
        pass


class Server(http.server.ThreadingHTTPServer):
    def get_request(self):
        connection, address = self.socket.accept()
        with open(sys.argv[2], "ab") as connections:
            connections.write(b".")
        return context.wrap_socket(connection, server_side=True), address


context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(sys.argv[1])
if sys.argv[3] == "1.1":
    context.set_ciphers("ALL:@SECLEVEL=0")
    context.minimum_version = ssl.TLSVersion.TLSv1
    context.maximum_version = ssl.TLSVersion.TLSv1_1
server = Server(("127.0.0.1", 0), Handler)
print(server.server_address[1], flush=True)
server.serve_forever()
