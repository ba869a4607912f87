"""The peer side of the side-by-side benchmark: the same WQL query as the library's list check, sent by pywinrm
(NTLM with message encryption) as Enumerate plus Pulls until the end of the sequence, each item's Name read
with ElementTree. Prints one JSON object per query: items, wall and CPU seconds per query.

usage: peer_pywinrm.py PORT USER PASSWORD CLASS COUNT
"""
import json
import os
import sys
import tempfile
import time
import uuid
import xml.etree.ElementTree as ET

# Debian's OpenSSL 3 keeps MD4 (needed by NTLM) in the legacy provider; enable it before hashlib loads.
if "QNBENCH_OPENSSL_READY" not in os.environ:
    conf = os.path.join(tempfile.mkdtemp(prefix="qnsnwsm-bench-peer-"), "openssl.cnf")
    with open(conf, "w") as f:
        f.write("openssl_conf = init\n[init]\nproviders = providers\n[providers]\n"
                "default = default_sect\nlegacy = legacy_sect\n[default_sect]\nactivate = 1\n"
                "[legacy_sect]\nactivate = 1\n")
    env = dict(os.environ, OPENSSL_CONF=conf, QNBENCH_OPENSSL_READY="1")
    os.execve(sys.executable, [sys.executable] + sys.argv, env)

from winrm.protocol import Protocol  # noqa: E402

NS = {
    "s": "http://www.w3.org/2003/05/soap-envelope",
    "n": "http://schemas.xmlsoap.org/ws/2004/09/enumeration",
    "w": "http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd",
}
ALL = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*"
ENUMERATION = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/"
# The library's own limits: 32000 items per batch, Windows' 512000-byte envelope.
MAX_ELEMENTS = 32000
MAX_ENVELOPE = 512000


def envelope(port, action, body):
    return (
        '<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope" '
        'xmlns:a="http://schemas.xmlsoap.org/ws/2004/08/addressing" '
        'xmlns:n="http://schemas.xmlsoap.org/ws/2004/09/enumeration" '
        'xmlns:w="http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd"><s:Header>'
        '<a:To>http://127.0.0.1:%d/wsman</a:To>'
        '<w:ResourceURI s:mustUnderstand="true">%s</w:ResourceURI>'
        '<a:ReplyTo><a:Address s:mustUnderstand="true">'
        'http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</a:Address></a:ReplyTo>'
        '<a:Action s:mustUnderstand="true">%s</a:Action>'
        '<w:MaxEnvelopeSize s:mustUnderstand="true">%d</w:MaxEnvelopeSize>'
        '<a:MessageID>uuid:%s</a:MessageID>'
        '<w:OperationTimeout>PT60S</w:OperationTimeout></s:Header><s:Body>%s</s:Body></s:Envelope>'
        % (port, ALL, ENUMERATION + action, MAX_ENVELOPE, str(uuid.uuid4()).upper(), body))


def names_in(reply, class_name):
    item = "{http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/%s}" % class_name
    return [e.findtext(item + "Name") for e in reply.iter(item + class_name)]


def query(protocol, port, class_name):
    wql = "select * from " + class_name
    reply = ET.fromstring(protocol.send_message(envelope(
        port, "Enumerate",
        '<n:Enumerate><w:OptimizeEnumeration/><w:MaxElements>%d</w:MaxElements>'
        '<w:Filter Dialect="http://schemas.microsoft.com/wbem/wsman/1/WQL">%s</w:Filter></n:Enumerate>'
        % (MAX_ELEMENTS, wql))))
    names = names_in(reply, class_name)
    context = reply.findtext(".//n:EnumerationContext", namespaces=NS)
    ended = reply.find(".//n:EndOfSequence", NS) is not None
    for _ in range(100000):
        if ended:
            break
        reply = ET.fromstring(protocol.send_message(envelope(
            port, "Pull",
            "<n:Pull><n:EnumerationContext>%s</n:EnumerationContext><n:MaxElements>%d</n:MaxElements></n:Pull>"
            % (context, MAX_ELEMENTS))))
        names += names_in(reply, class_name)
        context = reply.findtext(".//n:EnumerationContext", namespaces=NS) or context
        ended = reply.find(".//n:EndOfSequence", NS) is not None
    return sorted(set(n for n in names if n))


def main():
    port, user, password, class_name, count = sys.argv[1:6]
    port, count = int(port), int(count)
    protocol = Protocol(endpoint="http://127.0.0.1:%d/wsman" % port, transport="ntlm", username=user,
                        password=password, message_encryption="always", server_cert_validation="ignore")
    query(protocol, port, class_name)  # warm: authenticates the connection
    wall0, cpu0 = time.perf_counter(), time.process_time()
    items = 0
    for _ in range(count):
        items = len(query(protocol, port, class_name))
    wall, cpu = time.perf_counter() - wall0, time.process_time() - cpu0
    print(json.dumps({"class": class_name, "names": items, "wall": wall / count, "cpu": cpu / count}))


main()
