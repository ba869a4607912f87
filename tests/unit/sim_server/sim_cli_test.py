"""The qnsnwsm-sim program as a user runs it: --help, refused arguments, start on a free port with a
bundled profile, answer pywinrm, log the requests, stop cleanly on SIGTERM."""
import os
import re
import signal
import subprocess
import sys
import tempfile

import openssl_legacy

SIM, PROFILES = sys.argv[1], sys.argv[2]
WORK = tempfile.mkdtemp(prefix="qnsim-cli-")

openssl_legacy.restart_with_md4(WORK)


def check(condition, what):
    print(("ok: " if condition else "FAIL: ") + what)
    if not condition:
        sys.exit(1)


usage = subprocess.run([SIM, "--help"], capture_output=True, text=True)
check(usage.returncode == 0 and "--faults FILE" in usage.stdout, "--help describes the options")
bad = subprocess.run([SIM, "--port", "70000"], capture_output=True, text=True)
check(bad.returncode == 2 and "--port" in bad.stderr, "an out-of-range port is refused")
unknown = subprocess.run([SIM, "--frobnicate"], capture_output=True, text=True)
check(unknown.returncode == 2, "an unknown option is refused")

if not os.path.exists(os.path.join(PROFILES, "workstation.json")):
    print("SKIP: the bundled workstation profile is not there yet")
    sys.exit(77)

from winrm.protocol import Protocol  # noqa: E402

users = os.path.join(WORK, "users")
log = os.path.join(WORK, "log")
with open(users, "w") as f:
    f.write("LAB:alice:Passw0rd!\n")
sim = subprocess.Popen([SIM, "--port", "0", "--users", users, "--log", log], stdout=subprocess.PIPE, text=True)
try:
    line = sim.stdout.readline()
    match = re.match(r"listening on 127\.0\.0\.1:(\d+)", line)
    check(match is not None, "prints the port it listens on: " + line.strip())
    p = Protocol(endpoint="http://127.0.0.1:%s/wsman" % match.group(1), transport="ntlm", username="LAB\\alice",
                 password="Passw0rd!", message_encryption="always")
    reply = p.send_message(
        '<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope" '
        'xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing" '
        'xmlns:n="http://schemas.xmlsoap.org/ws/2004/09/enumeration" '
        'xmlns:w="http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd"><s:Header>'
        '<w:ResourceURI>http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*</w:ResourceURI>'
        '<a:Action>http://schemas.xmlsoap.org/ws/2004/09/enumeration/Enumerate</a:Action>'
        '<w:MaxEnvelopeSize>153600</w:MaxEnvelopeSize><a:MessageID>uuid:1</a:MessageID></s:Header><s:Body>'
        '<n:Enumerate><w:OptimizeEnumeration/><w:MaxElements>5</w:MaxElements>'
        '<w:Filter Dialect="http://schemas.microsoft.com/wbem/wsman/1/WQL">select * from Win32_OperatingSystem'
        '</w:Filter></n:Enumerate></s:Body></s:Envelope>')
    check(b"Win32_OperatingSystem" in reply, "the workstation profile answers a WQL query")
finally:
    sim.send_signal(signal.SIGTERM)
    code = sim.wait(timeout=10)
check(code == 0, "stops cleanly on SIGTERM")
with open(log) as f:
    lines = f.read()
check("auth=Negotiate/NTLM" in lines and 'filter="select * from Win32_OperatingSystem" status=200' in lines,
      "logs the request")
check("Passw0rd" not in lines, "never logs the password")
