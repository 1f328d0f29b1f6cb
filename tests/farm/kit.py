"""What the tests of whole farms share: rt-farm in a directory of its own, and ways to ask it."""

import http.client
import json
import os
import socket
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def check(condition, *what):
    if not condition:
        sys.exit("FAILED: " + " ".join(map(str, what)))


def wait_for(what, condition, seconds=60):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        found = condition()
        if found:
            return found
        time.sleep(0.02)
    sys.exit(f"FAILED: waited for {what}")


def ask(port, path, body=None, method="GET"):
    """The value of a JSON answer, None while nobody listens."""
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=30)
    try:
        connection.request(method, path, body and json.dumps(body))
        return json.load(connection.getresponse())
    except ConnectionRefusedError:
        return None
    finally:
        connection.close()


class Farm:
    """rt-farm, and whatever else is started: all ends with the block."""

    def __init__(self, program, *options):
        self.programs = os.path.dirname(os.path.realpath(program))
        self.directory = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.home = self.directory.name
        self.page = free_port()
        self.started = []
        self.options = options

    def __enter__(self):
        self.process = self.start("farm", "rt-farm", "--port", "0", "--page", str(self.page),
                                  "-o", "x.png", "--verbose", *self.options)
        said = f"{self.home}/farm/said"
        wait_for("the farm", lambda: self.process.poll() is not None or
                 "shows how far" in open(said).read())
        self.port = int(open(said).read().split("wait on port ")[1].split()[0])
        return self

    def __exit__(self, *_):
        for process in self.started:
            process.kill()
            process.wait()

    def start(self, name, program, *arguments):
        """Starts a program in a directory that sees the scenes."""
        place = f"{self.home}/{name}"
        os.makedirs(place, exist_ok=True)
        if not os.path.islink(place + "/Scenes"):
            os.symlink(ROOT + "/Scenes", place + "/Scenes")
        with open(place + "/said", "w") as said:
            process = subprocess.Popen([f"{self.programs}/{program}", *arguments], cwd=place,
                                       stdout=said, stderr=said)
        self.started.append(process)
        return process

    def status(self):
        return ask(self.page, "/status.json")
