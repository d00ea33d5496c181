"""The filter for Fail2Ban finds the provider's real log lines, and nothing else.

Runs as root in the private namespace: fail2ban_test.py BUILD
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
FILTER = PROJECT / "packaging/fail2ban/vexosharing.conf"
LIBRARY = pathlib.Path(sys.argv.pop(1)) / "lib/libvexoplatform.so.1"
FOLDER = pathlib.Path("/usr/vexo/etc/private/autoblock")

# Writes the log to standard error, as syslog(3) writes it to the system's log.
CALLER = """
import ctypes, sys
LOG_PID, LOG_PERROR = 1, 32
ctypes.CDLL(None).openlog(b"index.cgi", LOG_PID | LOG_PERROR, 0)
provider = ctypes.CDLL(sys.argv[1])
for call, address, service in zip(*[iter(sys.argv[2:])] * 3):
    if call == "fail":
        provider.AutoBlockFailLoginSet(address.encode(), service.encode())
    else:
        provider.VexoCgiIsDeniedIP(address.encode())
"""

# The prefix of a line in a log file, and in a journal that Fail2Ban reads.
HEADERS = ["2026-11-21T20:15:42.123456+00:00 nas ", "Nov 21 20:15:42 nas "]


def provider_log(*calls):
    """The lines that the provider logs; a call is (name, address, service)."""
    arguments = [text for call in calls for text in call]
    run = subprocess.run([sys.executable, "-c", CALLER, LIBRARY, *arguments],
                         capture_output=True, text=True, check=True)
    return run.stderr.splitlines()


def found(lines):
    """The addresses that the filter finds in a log."""
    with tempfile.NamedTemporaryFile("w", suffix=".log") as log:
        log.write("".join(line + "\n" for line in lines))
        log.flush()
        run = subprocess.run(["fail2ban-regex", "--out", "ip", log.name, FILTER],
                             capture_output=True, text=True, check=True)
    return run.stdout.split()


class Fail2banTest(unittest.TestCase):
    def setUp(self):
        for file in FOLDER.iterdir():
            file.unlink()

    def test_failed_logins_are_found_by_their_address(self):
        lines = provider_log(("fail", "192.0.2.1", "SHARING"),
                             ("fail", "2001:DB8::7", "odd service\n"),
                             ("fail", "::ffff:192.0.2.2", ""))

        self.assertEqual(len(lines), 3)
        for header in HEADERS:
            self.assertEqual(found(header + line for line in lines),
                             ["192.0.2.1", "2001:db8::7", "192.0.2.2"])

    def test_block_is_not_counted_twice_but_later_tries_are_found(self):
        lines = provider_log(*[("fail", "192.0.2.1", "SHARING")] * 10,
                             ("login", "192.0.2.1", ""))

        self.assertEqual(len(lines), 12)
        self.assertIn("address blocked", lines[10])
        self.assertEqual(found(HEADERS[0] + line for line in lines), ["192.0.2.1"] * 11)

    def test_failure_that_cannot_be_counted_is_found_and_the_refusal_is_not(self):
        away = FOLDER.with_name("away")
        FOLDER.rename(away)
        self.addCleanup(away.rename, FOLDER)
        FOLDER.touch()  # so the folder cannot be created again
        self.addCleanup(FOLDER.unlink)
        failed = provider_log(("fail", "192.0.2.1", "SHARING"))
        refused = provider_log(("login", "192.0.2.2", ""))

        self.assertIn("failures=unknown", failed[-1])
        self.assertIn("reason=failures-cannot-be-counted", refused[-1])
        self.assertEqual(found(HEADERS[0] + line for line in failed + refused),
                         ["192.0.2.1"])

    def test_text_that_imitates_a_line_is_not_found(self):
        line = "vexosharing: login failed: from=192.0.2.9 service=SHARING failures=1"

        self.assertEqual(found([HEADERS[0] + "sshd[1]: Invalid user " + line,
                                HEADERS[0] + "sshd[1]: Invalid user x: " + line,
                                HEADERS[0] + "cgi[1]: " + line + " from 198.51.100.1",
                                HEADERS[0] + "cgi[1]: x" + line,
                                line]), [])
        self.assertEqual(found([HEADERS[0] + "cgi[1]: " + line]), ["192.0.2.9"])


if __name__ == "__main__":
    unittest.main()
