// Keeps the tests away from the machine's Kerberos setup: no realm, no ticket cache. SPNEGO then
// falls back to NTLM at once instead of asking DNS for a KDC. The test servers write to sockets the
// client may have closed; that must not kill the process.
#include <csignal>
#include <cstdlib>

namespace {

const bool kIsolatedFromKerberos = [] {
    setenv("KRB5_CONFIG", "/dev/null", 0);
    setenv("KRB5CCNAME", "MEMORY:qn-transport-tests", 0);
    std::signal(SIGPIPE, SIG_IGN);
    return true;
}();

}  // namespace
