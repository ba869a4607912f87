"""The qnsnwsm-sim program against pywinrm, a client nobody here wrote: refused arguments, NTLM with message
encryption over Enumerate and Pulls, refusals of a clear body, a tampered body, a user without rights and a wrong
channel binding, a request log without the password, a clean stop on SIGTERM."""
import os
import re
import signal
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

SIM = sys.argv[1]
WORK = tempfile.mkdtemp(prefix="qnsim-pywinrm-")

# Debian's OpenSSL 3 keeps MD4, which NTLM needs, in the legacy provider: start again with it enabled.
if "QNSIM_OPENSSL_READY" not in os.environ:
    conf = os.path.join(WORK, "openssl.cnf")
    with open(conf, "w") as f:
        f.write("openssl_conf = init\n[init]\nproviders = providers\n[providers]\ndefault = default_sect\n"
                "legacy = legacy_sect\n[default_sect]\nactivate = 1\n[legacy_sect]\nactivate = 1\n")
    os.execve(sys.executable, [sys.executable] + sys.argv, dict(os.environ, OPENSSL_CONF=conf, QNSIM_OPENSSL_READY="1"))

import requests_ntlm.requests_ntlm  # noqa: E402
import winrm.exceptions  # noqa: E402
from winrm.protocol import Protocol  # noqa: E402

NS = {"n": "http://schemas.xmlsoap.org/ws/2004/09/enumeration",
      "w": "http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd",
      "d": "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_LogicalDisk"}


def check(condition, what):
    print(("ok: " if condition else "FAIL: ") + what)
    if not condition:
        sys.exit(1)


def envelope(action, message_id, body):
    return ('<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope" xmlns:n="%s" xmlns:w="%s" '
            'xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing">'
            '<s:Header><w:ResourceURI mustUnderstand="true">http://schemas.microsoft.com/wbem/wsman/1/wmi/root/'
            'cimv2/*</w:ResourceURI><a:Action mustUnderstand="true">http://schemas.xmlsoap.org/ws/2004/09/'
            'enumeration/%s</a:Action><w:MaxEnvelopeSize mustUnderstand="true">153600</w:MaxEnvelopeSize>'
            '<a:MessageID>%s</a:MessageID></s:Header><s:Body>%s</s:Body></s:Envelope>'
            % (NS["n"], NS["w"], action, message_id, body))


DISKS = envelope("Enumerate", "uuid:00000000-0000-0000-0000-000000000001",
                 '<n:Enumerate><w:OptimizeEnumeration/><w:MaxElements>2</w:MaxElements><w:Filter Dialect='
                 '"http://schemas.microsoft.com/wbem/wsman/1/WQL">select * from Win32_LogicalDisk</w:Filter>'
                 '</n:Enumerate>')


def refused(client, error_type, what, accept=lambda error: True):
    try:
        client.send_message(DISKS)
        check(False, what)
    except error_type as error:
        check(accept(error), "%s: %s" % (what, error))


for args, what in ((["--port", "70000"], "an out-of-range port"), (["--frobnicate"], "an unknown option")):
    bad = subprocess.run([SIM] + args, capture_output=True, text=True)
    check(bad.returncode == 2 and args[0] in bad.stderr, what + " is refused")

users, log = os.path.join(WORK, "users"), os.path.join(WORK, "log")
cert, key = os.path.join(WORK, "cert.pem"), os.path.join(WORK, "key.pem")
with open(users, "w") as f:
    f.write("LAB:alice:Passw0rd!\nLAB:bob:Passw0rd!:norights\n")


def start(*options):
    process = subprocess.Popen([SIM, "--port", "0", "--users", users] + list(options), stdout=subprocess.PIPE,
                               text=True)
    line = process.stdout.readline()
    match = re.match(r"listening on 127\.0\.0\.1:(\d+)", line)
    check(match is not None, "prints the port it listens on: " + line.strip())
    return process, match.group(1)


def protocol(port, encryption="always", user="LAB\\alice", scheme="http"):
    return Protocol(endpoint="%s://127.0.0.1:%s/wsman" % (scheme, port), transport="ntlm", username=user,
                    password="Passw0rd!", message_encryption=encryption, ca_trust_path=cert)


sim, port = start("--log", log)
try:
    p = protocol(port)
    reply = ET.fromstring(p.send_message(DISKS))
    names = [e.text for e in reply.findall(".//w:Items/d:Win32_LogicalDisk/d:Name", NS)]
    check(len(names) == 1, "the EnumerateResponse carries one item")
    for pull in range(1, 10):
        if reply.find(".//n:EndOfSequence", NS) is not None:
            break
        reply = ET.fromstring(p.send_message(envelope(
            "Pull", "uuid:00000000-0000-0000-0000-00000000010%d" % pull,
            "<n:Pull><n:EnumerationContext>%s</n:EnumerationContext><n:MaxElements>2</n:MaxElements></n:Pull>"
            % reply.findtext(".//n:EnumerationContext", namespaces=NS))))
        names += [e.text for e in reply.findall(".//n:Items/d:Win32_LogicalDisk/d:Name", NS)]
    check(names == ["C:", "D:", "E:"], "the Pulls deliver the rest, in order: %s" % names)

    refused(protocol(port, "never"), winrm.exceptions.WinRMTransportError,
            "the unencrypted query is refused with HTTP 500", lambda e: e.code == 500)
    refused(protocol(port, user="LAB\\bob"), winrm.exceptions.WinRMError, "a user without rights is denied",
            lambda e: "AccessDenied" in str(e))

    # A sealed body whose signature does not verify (its checksum follows the length and the version).
    sealing = p.transport.encryption
    build = sealing._build_message

    def tampered(message, host):
        stream = bytearray(build(message, host))
        stream[8] ^= 1
        return bytes(stream)
    sealing._build_message = tampered
    refused(p, winrm.exceptions.WinRMTransportError,
            "a tampered body is refused with HTTP 400", lambda e: e.code == 400)
finally:
    sim.send_signal(signal.SIGTERM)
    code = sim.wait(timeout=10)
check(code == 0, "stops cleanly on SIGTERM")
with open(log) as f:
    lines = f.read()
check("auth=Negotiate/NTLM" in lines and 'filter="select * from Win32_LogicalDisk" status=200' in lines,
      "logs the requests")
check("Passw0rd" not in lines, "never logs a password")

# Over HTTPS the channel binding (the certificate's hash) is checked when the client sends one.
subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                "-subj", "/CN=localhost", "-addext", "subjectAltName=IP:127.0.0.1", "-days", "1", "-keyout", key, "-out", cert], check=True,
               capture_output=True)
sim, port = start("--https", "--cert", cert, "--key", key)
try:
    bound = ET.fromstring(protocol(port, scheme="https", encryption="auto").send_message(DISKS))
    check(len(bound.findall(".//w:Items/d:Win32_LogicalDisk", NS)) == 1, "a bound NTLM login over HTTPS answers")
    requests_ntlm.requests_ntlm._get_certificate_hash = lambda certificate: "00" * 32
    refused(protocol(port, scheme="https", encryption="auto"), winrm.exceptions.InvalidCredentialsError,
            "a wrong channel binding is refused with 401")
finally:
    sim.send_signal(signal.SIGTERM)
    sim.wait(timeout=10)
