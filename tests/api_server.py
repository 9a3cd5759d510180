"""The server of the HTTP tests: it does with each connection what the script says that it was given last.

Arguments: the host name, a folder for the certificates, and which certificate to show. It says "ready" and three ports:
its own, one that refuses connections and one that lets them wait for ever. Then it reads lines (a script, which is
steps between blanks, or "go", or "count") and tells on its output what happens.
"""
import os
import socket
import ssl
import struct
import subprocess
import sys
import threading
import time

host, folder, kind = sys.argv[1:]
local = ("127.0.0.1", 0)
script = []
connections = 0
go = threading.Semaphore(0)
output = threading.Lock()


def tell(*words):
    with output:
        print(*words, flush=True)


def openssl(command, *arguments):
    subprocess.run(["openssl", *command.split(), *arguments], check=True, cwd=folder, stderr=subprocess.DEVNULL)


def server_context():
    key = "req -nodes -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 "
    name = "other.example" if kind == "name" else host
    signer = "stranger" if kind == "stranger" else "authority"
    for authority in {"authority", signer}:
        openssl(key + f"-x509 -keyout {authority}.key -out {authority}.pem -subj", "/CN=" + authority)
    days = -1 if kind == "expired" else 2
    openssl(key + "-keyout server.key -out server.csr -subj /CN=server -addext", "subjectAltName=DNS:" + name)
    openssl(f"x509 -req -in server.csr -CA {signer}.pem -CAkey {signer}.key -days {days} -copy_extensions copy"
            " -out server.pem")
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(os.path.join(folder, "server.pem"), os.path.join(folder, "server.key"))
    return context


def read_request(stream):
    data = b""
    while b"\r\n\r\n" not in data:
        data += stream.recv(65536) or sys.exit()
    head, _, body = data.partition(b"\r\n\r\n")
    length = int(head.lower().partition(b"content-length: ")[2].split(b"\r\n")[0] or 0)
    while len(body) < length:
        body += stream.recv(65536) or sys.exit()
    return head + b"\r\n\r\n" + body


def await_end(stream):
    tell("stalled")
    try:
        while stream.recv(65536):
            pass
    except OSError:
        pass
    tell("gone")


def serve(stream, steps):
    for step in steps:
        name, _, text = step.partition(":")
        if name == "tls":
            stream = context.wrap_socket(stream, server_side=True, suppress_ragged_eofs=False)
        elif name == "read":
            request = read_request(stream)
        elif name == "show":
            tell("request", request.hex())
        elif name == "send":
            stream.sendall(bytes.fromhex(text))
        elif name == "trickle":
            for byte in bytes.fromhex(text):
                stream.sendall(bytes([byte]))
                time.sleep(0.01)
        elif name == "stall":
            await_end(stream)
        elif name == "wait":
            tell("waiting")
            go.acquire()
        elif name == "shut":
            stream.shutdown(socket.SHUT_WR)
        elif name in ("drop", "reset"):
            if name == "reset":
                stream.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            stream.close()
            return
    if isinstance(stream, ssl.SSLSocket):
        stream.unwrap()


def attend(stream, steps):
    with stream:
        try:
            stream.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            serve(stream, steps)
        except (OSError, SystemExit):
            pass  # the client went away


def accept_all():
    global connections
    while True:
        stream, _ = listener.accept()
        connections += 1
        threading.Thread(target=attend, args=(stream, script), daemon=True).start()


context = server_context()
listener = socket.create_server(local, backlog=128)
refusing = socket.socket()
refusing.bind(local)  # so that nobody else comes to listen there
full = socket.create_server(local, backlog=0)  # where only so many find room to wait for somebody to accept them
waiting = [socket.socket() for _ in range(8)]
for client in waiting:
    client.setblocking(False)
    client.connect_ex(full.getsockname())
threading.Thread(target=accept_all, daemon=True).start()
tell("ready", *(one.getsockname()[1] for one in (listener, refusing, full)))
try:
    for line in sys.stdin:
        if line == "go\n":
            go.release()
        elif line == "count\n":
            tell("connections", connections)
        else:
            script = line.split()
            tell("scripted")
except OSError:
    pass  # the test has ended without hearing all that was told
os._exit(0)
