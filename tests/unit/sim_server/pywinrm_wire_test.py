"""pywinrm, a client nobody here wrote, against the simulator: NTLM with message encryption, a WQL
Enumerate followed by Pulls, and the refusals of an unknown class, a clear body, a wrong password and a user
without rights."""
import os
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

import openssl_legacy

HOST = sys.argv[1]
WORK = tempfile.mkdtemp(prefix="qnsim-pywinrm-")

openssl_legacy.restart_with_md4(WORK)

import winrm.exceptions  # noqa: E402
from winrm.protocol import Protocol  # noqa: E402

NS = {
    "s": "http://www.w3.org/2003/05/soap-envelope",
    "a": "http://schemas.xmlsoap.org/ws/2004/08/addressing",
    "n": "http://schemas.xmlsoap.org/ws/2004/09/enumeration",
    "w": "http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd",
    "svc": "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service",
}
ALL = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*"
ENUMERATE = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/Enumerate"


def envelope(action, body, message_id):
    return (
        '<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope" '
        'xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing" '
        'xmlns:n="http://schemas.xmlsoap.org/ws/2004/09/enumeration" '
        'xmlns:w="http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd"><s:Header>'
        '<a:To>http://127.0.0.1/wsman</a:To>'
        '<w:ResourceURI mustUnderstand="true">' + ALL + '</w:ResourceURI>'
        '<a:ReplyTo><a:Address mustUnderstand="true">'
        'http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</a:Address></a:ReplyTo>'
        '<a:Action mustUnderstand="true">' + action + '</a:Action>'
        '<w:MaxEnvelopeSize mustUnderstand="true">153600</w:MaxEnvelopeSize>'
        '<a:MessageID>' + message_id + '</a:MessageID>'
        '<w:OperationTimeout>PT20S</w:OperationTimeout></s:Header><s:Body>' + body + '</s:Body></s:Envelope>')


def enumerate_body(wql):
    return ('<n:Enumerate><w:OptimizeEnumeration/><w:MaxElements>2</w:MaxElements>'
            '<w:Filter Dialect="http://schemas.microsoft.com/wbem/wsman/1/WQL">' + wql + '</w:Filter></n:Enumerate>')


def check(condition, what):
    if not condition:
        print("FAIL:", what)
        sys.exit(1)
    print("ok:", what)


def refused(client, wql, error_type, what, accept=lambda error: True):
    try:
        client.send_message(envelope(ENUMERATE, enumerate_body(wql), "uuid:2"))
        check(False, what)
    except error_type as error:
        check(accept(error), "%s: %s" % (what, error))


def start_host(*extra):
    users = os.path.join(WORK, "users")
    with open(users, "w") as f:
        f.write("SIMDOM:alice:Passw0rd!\nSIMDOM:bob:Passw0rd!:norights\n")
    process = subprocess.Popen([HOST, "--users", users] + list(extra), stdout=subprocess.PIPE, text=True)
    line = process.stdout.readline()
    match = re.search(r":(\d+)", line)
    if not match:
        process.kill()
        raise SystemExit("the simulator did not start: " + line)
    return process, int(match.group(1))


def protocol(port, encryption, user="SIMDOM\\alice", password="Passw0rd!"):
    return Protocol(endpoint="http://127.0.0.1:%d/wsman" % port, transport="ntlm", username=user,
                    password=password, message_encryption=encryption, server_cert_validation="ignore")


def main():
    host, port = start_host()
    try:
        p = protocol(port, "always")
        reply = ET.fromstring(p.send_message(envelope(
            ENUMERATE, enumerate_body("select * from Win32_Service"), "uuid:00000000-0000-0000-0000-000000000001")))
        check(reply.findtext("s:Header/a:RelatesTo", namespaces=NS) == "uuid:00000000-0000-0000-0000-000000000001",
              "RelatesTo names the Enumerate's MessageID")
        names = [e.text for e in reply.findall(".//w:Items/svc:Win32_Service/svc:Name", NS)]
        check(0 < len(names) < 2, "the EnumerateResponse carries fewer items than MaxElements")
        context = reply.findtext(".//n:EnumerationContext", namespaces=NS)
        ended = reply.find(".//n:EndOfSequence", NS) is not None
        pulls = 0
        while not ended:
            pulls += 1
            reply = ET.fromstring(p.send_message(envelope(
                "http://schemas.xmlsoap.org/ws/2004/09/enumeration/Pull",
                "<n:Pull><n:EnumerationContext>%s</n:EnumerationContext><n:MaxElements>2</n:MaxElements></n:Pull>"
                % context, "uuid:00000000-0000-0000-0000-00000000010%d" % pulls)))
            names += [e.text for e in reply.findall(".//n:Items/svc:Win32_Service/svc:Name", NS)]
            ended = reply.find(".//n:EndOfSequence", NS) is not None
            check(pulls < 10, "pull %d" % pulls)
        check(names == ["svc0", "svc1", "svc2", "svc3", "svc4"], "every item arrives, in order: %s" % names)

        refused(p, "select * from Win32_Nothing", winrm.exceptions.WinRMError, "an unknown class faults",
                lambda e: "CannotProcessFilter" in str(e) or "500" in str(e))
        refused(protocol(port, "never"), "select * from Win32_Service", winrm.exceptions.WinRMTransportError,
                "the unencrypted query is refused with HTTP 500", lambda e: e.code == 500)
        refused(protocol(port, "always", password="wrong"), "select * from Win32_Service",
                winrm.exceptions.InvalidCredentialsError, "a wrong password is refused with 401")
        refused(protocol(port, "always", user="SIMDOM\\bob"), "select * from Win32_Service",
                winrm.exceptions.WinRMError, "a user without rights is denied",
                lambda e: "AccessDenied" in str(e) or "500" in str(e))
    finally:
        host.terminate()
        host.wait(timeout=10)


main()
