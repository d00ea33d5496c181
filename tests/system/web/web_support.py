"""Common code of the HTTP tests of the web front end.  They run in a private mount
namespace:

  x_test.py BUILD [unittest arguments]

Without a server in the environment they run the CGI program once for each request.  With
BASE, the URL of a server, and PID, one of its processes, they enter the namespace of that
process and send their requests to the server.
"""

import html.parser
import itertools
import json
import os
import pathlib
import random
import shutil
import socket
import ssl
import subprocess
import sys
import unittest
import urllib.parse

PROGRAM = pathlib.Path("/usr/vexo/bin/sharing.cgi")
SHARED = pathlib.Path("/tmp/shared")
PRIVATE = pathlib.Path("/usr/vexo/etc/private")
TRANSLATIONS = pathlib.Path("/usr/vexo/share/vexosharing/web/locale")
PASSWORD = "correct horse"

# The account that the program is made for: the system's, with the group of the passwords.
AS_SYSTEM = {"user": 1, "group": 1, "extra_groups": [42]}


class Answer:
    """What a server answered."""

    def __init__(self, status, headers, body):
        self.status = status
        self.headers = headers
        self.body = body

    def header(self, name):
        """The only value of a header, or None."""
        values = [value for key, value in self.headers if key.lower() == name.lower()]
        assert len(values) < 2, f"{name} is there {len(values)} times"
        return values[0] if values else None

    def text(self):
        return self.body.decode()

    @property
    def page(self):
        """What the page is, or None."""
        found = Page.read(self).body_attributes
        return found.get("data-page")


class Page(html.parser.HTMLParser):
    """The parts of a page that the tests hold on to."""

    def __init__(self):
        super().__init__()
        self.elements = []  # name, attributes, text inside
        self.open = []
        self.body_attributes = {}

    @staticmethod
    def read(answer):
        page = Page()
        if (answer.header("Content-Type") or "").startswith("text/html"):
            page.feed(answer.text())
        return page

    def handle_starttag(self, tag, attrs):
        element = [tag, dict(attrs), ""]
        self.elements.append(element)
        if tag == "body":
            self.body_attributes = element[1]
        if tag not in ("meta", "link", "input", "img", "br"):
            self.open.append(element)

    def handle_endtag(self, tag):
        while self.open and self.open.pop()[0] != tag:
            pass

    def handle_data(self, data):
        for element in self.open:
            element[2] += data

    def find(self, tag, **attributes):
        """The elements with this tag and these attributes."""
        wanted = {name.rstrip("_").replace("_", "-"): value
                  for name, value in attributes.items()}
        return [element for element in self.elements if element[0] == tag and
                all(element[1].get(name) == value for name, value in wanted.items())]

    def text(self, tag, **attributes):
        return self.find(tag, **attributes)[0][2]

    def rows(self):
        """Kind, size and address of each entry of a listing."""
        rows = []
        for index, element in enumerate(self.elements):
            if element[0] == "tr" and "data-kind" in element[1]:
                link = next(e for e in self.elements[index:] if e[0] == "a")
                rows.append((element[1]["data-kind"], int(element[1]["data-size"]),
                             link[1]["href"]))
        return rows

    def names(self):
        return [urllib.parse.unquote(href, errors="surrogateescape")[2:]
                for _, _, href in self.rows()]


def decode_chunks(data):
    body = b""
    while True:
        line, data = data.split(b"\r\n", 1)
        size = int(line.split(b";")[0], 16)
        if size == 0:
            return body
        body, data = body + data[:size], data[size + 2:]


def parse_answer(data, status_line):
    """An answer as a CGI program writes it, or as a server sends it."""
    head, body = data.split(b"\r\n\r\n", 1)
    lines = head.decode("latin-1").split("\r\n")
    status = int(lines.pop(0).split()[1]) if status_line else None
    headers = [tuple(line.split(": ", 1)) for line in lines]
    if not status_line:
        status = int(dict(headers).get("Status", "200").split()[0])
        headers = [(name, value) for name, value in headers if name != "Status"]
    coding = {name.lower(): value for name, value in headers}.get("transfer-encoding")
    return Answer(status, headers, decode_chunks(body) if coding == "chunked" else body)


def told(answer):
    """All that an answer tells."""
    changing = ("date", "connection", "transfer-encoding", "server", "keep-alive")
    return (answer.status, answer.body,
            sorted((name.lower(), value) for name, value in answer.headers
                   if name.lower() not in changing))


class CgiTransport:
    """Runs the program once for each request, as a server does."""

    host = "files.example.org"
    network = "10"

    def __init__(self, **account):
        self.account = account or AS_SYSTEM

    def environment(self, method, target, headers, address, **more):
        variables = {"GATEWAY_INTERFACE": "CGI/1.1", "SERVER_PROTOCOL": "HTTP/1.1",
                     "REQUEST_METHOD": method, "REQUEST_URI": target,
                     "QUERY_STRING": target.partition("?")[2], "REMOTE_ADDR": address,
                     "SCRIPT_NAME": "/sharing", "PATH_INFO": "/wrong/place", **more}
        for name, value in headers.items():
            key = name.upper().replace("-", "_")
            special = key in ("CONTENT_TYPE", "CONTENT_LENGTH")
            variables[key if special else f"HTTP_{key}"] = value
        return {name: value.encode("utf-8", "surrogateescape")
                for name, value in variables.items()}

    def send(self, method, target, headers, body, address, **more):
        env = self.environment(method, target, headers, address, **more)
        done = subprocess.run([PROGRAM], input=body, env=env, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, timeout=60, check=False,
                              cwd="/", **self.account)
        assert not done.stderr, done.stderr
        answer = parse_answer(done.stdout, False)
        answer.exit_code = done.returncode
        return answer


class HttpTransport:
    """Sends requests to a server."""

    network = "127"

    def __init__(self, base):
        self.base = urllib.parse.urlsplit(base)
        self.host = self.base.netloc

    def send(self, method, target, headers, body, address):
        secure = self.base.scheme == "https"
        port = self.base.port or (443 if secure else 80)
        lines = [f"{method} {target} HTTP/1.1", "Connection: close"]
        lines += [f"{name}: {value}" for name, value in headers.items()]
        request = "\r\n".join(lines).encode("utf-8", "surrogateescape") + b"\r\n\r\n" + body
        with socket.create_connection((self.base.hostname, port), 60,
                                      (address, 0)) as connection:
            if secure:
                context = ssl._create_unverified_context()
                connection = context.wrap_socket(connection)
            connection.sendall(request)
            data = b"".join(iter(lambda: connection.recv(1 << 20), b""))
        return parse_answer(data, True)


class Visitor:
    """A browser with an address and cookies of its own."""

    # A server remembers addresses from one test program to the next.
    addresses = iter(random.sample(range(1 << 16, 1 << 24), 10000))

    def __init__(self, transport, **headers):
        self.transport = transport
        number = next(Visitor.addresses).to_bytes(3, "big")
        self.address = ".".join([transport.network, *map(str, number)])
        self.headers = {"Host": transport.host, **headers}
        self.cookies = {}  # value by path

    def cookie_for(self, path):
        matching = [scope for scope in self.cookies
                    if path == scope or path.startswith(scope + "/")]
        return self.cookies[max(matching, key=len)] if matching else None

    def send(self, method, target, body=b"", **more):
        """Sends a request.  A keyword is a header, or a variable in capitals."""
        variables = {name: value for name, value in more.items() if name.isupper()}
        headers = dict(self.headers)
        if body or method == "POST":
            headers["Content-Length"] = str(len(body))
            headers["Content-Type"] = "application/x-www-form-urlencoded"
        cookie = self.cookie_for(target.partition("?")[0])
        if cookie:
            headers["Cookie"] = f"sharing={cookie}"
        for name, value in more.items():
            if name not in variables:
                headers[name.replace("_", "-").title()] = value
        headers = {name: value for name, value in headers.items() if value is not None}
        answer = self.transport.send(method, target, headers, body, self.address,
                                     **variables)
        self.keep_cookie(answer)
        return answer

    def keep_cookie(self, answer):
        cookie = answer.header("Set-Cookie")
        if cookie:
            value, *attributes = cookie.split("; ")
            path = next(a[5:] for a in attributes if a.startswith("Path="))
            if "Max-Age=0" in attributes:
                self.cookies.pop(path, None)
            else:
                self.cookies[path] = value.partition("=")[2]

    def get(self, target, **headers):
        return self.send("GET", target, **headers)

    def head(self, target, **headers):
        return self.send("HEAD", target, **headers)

    def post(self, target, headers=None, **fields):
        body = urllib.parse.urlencode(fields).encode()
        return self.send("POST", target, body, **(headers or {}))


class WebTest(unittest.TestCase):
    """A test with links to a folder of its own."""

    transport = None
    build = None
    folders = itertools.count(1)

    def setUp(self):
        self.visitor = Visitor(self.transport)
        self.folder = SHARED / f"{os.getpid()}-{next(WebTest.folders)}" / "album"
        self.folder.mkdir(parents=True)
        self.addCleanup(shutil.rmtree, self.folder.parent)

    def new_visitor(self, **headers):
        return Visitor(self.transport, **headers)

    def write(self, name, content=b"content\n"):
        path = os.path.join(os.fsencode(self.folder), os.fsencode(name))
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(content)
        return pathlib.Path(os.fsdecode(path))

    def command(self, *arguments, **options):
        done = subprocess.run([f"{self.build}/bin/vexosharing", *arguments], check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options)
        self.assertEqual(done.returncode, 0, done.stderr.decode())
        return done.stdout.decode()

    def share(self, *options, path=None, password=None, project="files", owner="alice",
              app=None):
        """Creates a link, and returns its path in URLs."""
        app = app or {"path": str(path or self.folder)}
        call = ["create", "--json", "--project", project, "--owner", owner, "--no-match-ip",
                "--app", json.dumps(app), *options]
        if password is not None:
            call.append("--password-stdin")
        created = json.loads(self.command(*call, input=(password or "").encode()))
        return "/sharing/" + created["link"]["hash"]

    def hash_of(self, link):
        return link.rpartition("/")[2]

    def uses(self, link):
        shown = json.loads(self.command("show", "--json", self.hash_of(link)))
        return shown["link"]["use_count"]

    def log_in(self, link, visitor=None, **fields):
        visitor = visitor or self.visitor
        answer = visitor.post(link + "/", **(fields or {"password": PASSWORD}))
        self.assertEqual(answer.status, 303, answer.text())
        return answer


def install(build):
    """Lays the built program where the tests run it."""
    shutil.copy(f"{build}/bin/sharing.cgi", PROGRAM)
    shutil.copy(f"{build}/bin/vexosharingurl", PROGRAM.parent)
    shutil.copytree(f"{build}/web/locale", TRANSLATIONS, dirs_exist_ok=True)


def enter_namespace(process):
    """Continues in the mount namespace of a process."""
    if os.path.samefile("/proc/self/ns/mnt", f"/proc/{process}/ns/mnt"):
        return
    os.execvp("nsenter", ["nsenter", "--target", process, "--mount", "--wd=/", "--",
                          sys.executable, "-B", os.path.realpath(sys.argv[0]),
                          os.path.realpath(sys.argv[1]), *sys.argv[2:]])


def needs_program(test):
    """A test of the program itself, which no server changes."""
    return unittest.skipIf("BASE" in os.environ, "runs the program itself")(test)


def main():
    base = os.environ.get("BASE")
    if base:
        enter_namespace(os.environ["PID"])
    WebTest.build = os.path.realpath(sys.argv.pop(1))
    SHARED.mkdir(exist_ok=True)
    if base:
        WebTest.transport = HttpTransport(base)
    else:
        install(WebTest.build)
        WebTest.transport = CgiTransport()
    unittest.main()
