"""Drives the built xrfpd program as an outside client would, with Python's
own RSA-OAEP-SHA1 for the login: a users file made by "xrfpd adduser", a key
file made on first start, a file written and read back, a wrong password, a
clean stop on SIGTERM; then the throwaway mode with nothing configured.

Usage: xrfp_peer.py XRFPD WORKDIR      (exit status 0 when all went well)
"""
import os
import re
import signal
import socket
import stat
import struct
import subprocess
import sys
import time

from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import padding

# Tests may run as root (CI does); the server then has to be told.
ROOT_FLAG = ["--allow-root"] if os.geteuid() == 0 else []
OAEP = padding.OAEP(mgf=padding.MGF1(algorithm=hashes.SHA1()), algorithm=hashes.SHA1(), label=None)


def check(condition, what):
    if not condition:
        raise SystemExit("xrfp_peer: " + what)


def recv_exact(sock, n):
    data = b""
    while len(data) < n:
        chunk = sock.recv(n - len(data))
        check(chunk, "connection closed early")
        data += chunk
    return data


def run_server(xrfpd, args, workdir, name, client):
    """Starts the server on a free port, runs client(port), stops it with SIGTERM."""
    port_file = os.path.join(workdir, name + ".port")
    with open(os.path.join(workdir, name + ".log"), "w") as log:
        proc = subprocess.Popen([xrfpd, "--port", "0", "--port-file", port_file, "--key-bits", "1024"] + ROOT_FLAG +
                                args, cwd=workdir, stderr=log)
    try:
        for _ in range(300):
            if os.path.exists(port_file) and os.path.getsize(port_file):
                break
            check(proc.poll() is None, "server exited at start")
            time.sleep(0.05)
        with open(port_file) as f:
            client(int(f.read()))
    finally:
        proc.send_signal(signal.SIGTERM)
        try:
            check(proc.wait(timeout=10) == 0, "server did not exit cleanly")
        except subprocess.TimeoutExpired:
            proc.kill()
            raise SystemExit("xrfp_peer: server did not stop")


def login(port, user, password):
    sock = socket.create_connection(("127.0.0.1", port), timeout=10)
    greeting = recv_exact(sock, 1460)
    check(greeting[:4] == b"1.00", "version")
    key_text = greeting[8:8 + struct.unpack_from("<I", greeting, 4)[0]].decode("ascii")
    check(key_text == key_text.upper(), "key text is uppercase")
    key = serialization.load_der_public_key(bytes.fromhex(key_text))
    fields = [key.encrypt(t.encode(), OAEP).hex().upper().encode().ljust(4096, b"\0") for t in (user, password)]
    sock.sendall(struct.pack("<II", 17, 8192) + fields[0] + fields[1])
    return sock, struct.unpack_from("<I", recv_exact(sock, 16), 8)[0]


def create_write_read(sock, path, data):
    """Creates path, writes data at 0 and reads it back from 6; closes the handle."""
    sock.sendall(struct.pack("<II", 0, 304) + path.encode().ljust(260, b"\0") +
                 struct.pack("<II12xII16x", 0xC0000000, 0, 2, 0))
    code, handle, error = struct.unpack_from("<I4xI8xI", recv_exact(sock, 32))
    check(code == 23 and error == 0, "create %s: error 0x%X" % (path, error))
    sock.sendall(struct.pack("<IIqq4xI", 1, 24, 0, handle, len(data)) +
                 struct.pack("<IIqII", 21, len(data) + 16, handle, len(data), len(data) + 16) + data)
    code, length, written, error = struct.unpack("<I4xqII", recv_exact(sock, 24))
    check(code == 24 and error == 0 and written == len(data) == length, "write")
    sock.sendall(struct.pack("<IIqq4xI", 2, 24, 6, handle, len(data) - 6))
    code, got, error = struct.unpack("<I4xII", recv_exact(sock, 16))
    check(code == 25 and error == 0 and recv_exact(sock, got) == data[6:], "read back")
    sock.sendall(struct.pack("<IIq8x", 3, 16, handle))
    check(struct.unpack_from("<I4xI", recv_exact(sock, 16)) == (26, 0), "close handle")


def main(xrfpd, workdir):
    root = os.path.join(workdir, "carol")
    os.makedirs(root, exist_ok=True)
    users = os.path.join(workdir, "users")
    added = subprocess.run([xrfpd, "adduser", "--users", users, "carol", root], input=b"Sup3rSecret\n",
                           stderr=subprocess.DEVNULL)
    check(added.returncode == 0, "adduser")
    with open(users) as f:
        check("Sup3rSecret" not in f.read(), "the users file holds no clear password")
    refused = subprocess.run([xrfpd, "adduser", "--users", users, "dave", root], input=b"not:carried\n",
                             capture_output=True)
    check(refused.returncode != 0 and b"letters and digits" in refused.stderr, "adduser refuses what a path can't carry")
    version = subprocess.run([xrfpd, "--version"], capture_output=True)
    check(version.returncode == 0 and re.match(rb"xrfpd \d+\.\d+\.\d+", version.stdout), "--version")
    if ROOT_FLAG:
        as_root = subprocess.run([xrfpd, "--throwaway"], capture_output=True, timeout=10)
        check(as_root.returncode == 2 and b"refusing to run as root" in as_root.stderr, "root needs --allow-root")

    def first(port):
        sock, error = login(port, "carol", "Sup3rSecret")
        check(error == 0, "login: 0x%X" % error)
        create_write_read(sock, "docs\\..\\hello.txt", b"hello from python")
        sock, error = login(port, "carol", "wrong")
        check(error == 0x20010011, "wrong password: 0x%X" % error)

    key_file = os.path.join(workdir, "xrfpd.key")
    run_server(xrfpd, ["--users", users, "--key-file", key_file], workdir, "first", first)
    with open(os.path.join(root, "hello.txt"), "rb") as f:
        check(f.read() == b"hello from python", "file on disk")
    check(stat.S_IMODE(os.stat(key_file).st_mode) == 0o600, "key file is the owner's alone")
    with open(key_file) as f:
        private_text = f.read().strip()
    serialization.load_der_private_key(bytes.fromhex(private_text), password=None)

    # The same key is used again on the next start.
    def second(port):
        check(login(port, "carol", "Sup3rSecret")[1] == 0, "login after restart")
    run_server(xrfpd, ["--users", users, "--key-file", key_file], workdir, "second", second)
    with open(key_file) as f:
        check(f.read().strip() == private_text, "the key file is kept")

    # Nothing configured: a throwaway root, key and user, gone at exit.
    def throwaway(port):
        sock, error = login(port, "demo", "demo")
        check(error == 0, "throwaway login")
        create_write_read(sock, "t.txt", b"throwaway")
    run_server(xrfpd, ["--throwaway"], workdir, "throwaway", throwaway)
    with open(os.path.join(workdir, "throwaway.log")) as f:
        match = re.search(r"throwaway root (\S+)", f.read())
    check(match is not None, "throwaway root logged")
    check(not os.path.exists(match.group(1)), "throwaway root removed at exit")
    print("xrfp_peer: all checks passed")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
