"""Debian's OpenSSL 3 keeps MD4, which NTLM needs, in the legacy provider: the tests that run pywinrm start
again with it enabled before hashlib loads."""
import os
import sys


def restart_with_md4(work):
    if "QNSIM_OPENSSL_READY" in os.environ:
        return
    conf = os.path.join(work, "openssl.cnf")
    with open(conf, "w") as f:
        f.write("openssl_conf = init\n[init]\nproviders = providers\n[providers]\ndefault = default_sect\n"
                "legacy = legacy_sect\n[default_sect]\nactivate = 1\n[legacy_sect]\nactivate = 1\n")
    os.execve(sys.executable, [sys.executable] + sys.argv, dict(os.environ, OPENSSL_CONF=conf, QNSIM_OPENSSL_READY="1"))
