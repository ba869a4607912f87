#include "LoopbackKdc.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "TestHttpServer.h"

extern char** environ;

namespace qntest {

LoopbackKdc::LoopbackKdc(const ScratchFolder& folder, const std::string& password) {
    const std::uint16_t port = ClosedLoopbackPort();
    const std::string kdc = "127.0.0.1:" + std::to_string(port);
    // MIT's profile syntax wants "REALM = {" and "}" on lines of their own.
    const std::string config =
        folder.Write("krb5.conf", std::string("[libdefaults]\n default_realm = ") + kRealm +
                                      "\n dns_lookup_realm = false\n dns_lookup_kdc = false\n"
                                      " dns_canonicalize_hostname = false\n rdns = false\n clockskew = 1\n"
                                      " udp_preference_limit = 1\n[realms]\n " +
                                      kRealm + " = {\n  kdc = " + kdc +
                                      "\n }\n[domain_realm]\n localhost = " + kRealm + "\n");
    const std::string kdcProfile = folder.Write(
        "kdc.conf", "[kdcdefaults]\n kdc_listen = " + kdc + "\n kdc_tcp_listen = " + kdc + "\n[realms]\n " +
                        kRealm + " = {\n  database_name = " + folder.File("principal") +
                        "\n  key_stash_file = " + folder.File("stash") +
                        "\n  acl_file = " + folder.File("kadm5.acl") +
                        "\n  supported_enctypes = aes256-cts-hmac-sha1-96:normal\n"
                        "  master_key_type = aes256-cts-hmac-sha1-96\n }\n");
    keytab_ = folder.File("http.keytab");
    configEnv_.emplace("KRB5_CONFIG", config);
    profileEnv_.emplace("KRB5_KDC_PROFILE", kdcProfile);
    const std::string admin = std::string("/usr/sbin/kadmin.local -r ") + kRealm + " -q ";
    for (const std::string& command :
         {std::string("/usr/sbin/kdb5_util -r ") + kRealm + " create -s -P master-secret",
          admin + "'addprinc -pw " + password + " alice'",
          admin + "'addprinc -maxlife \"2 seconds\" -pw " + password + " bob'",
          admin + "'addprinc -randkey HTTP/localhost'", admin + "'ktadd -k " + keytab_ + " HTTP/localhost'"})
        if (!Run(command)) return;
    const char* arguments[] = {"/usr/sbin/krb5kdc", "-n", "-r", kRealm, nullptr};
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&quiet, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const int spawned =
        posix_spawn(&kdc_, arguments[0], &quiet, nullptr, const_cast<char**>(arguments), environ);
    posix_spawn_file_actions_destroy(&quiet);
    if (spawned != 0) {
        kdc_ = -1;
        problem_ = "cannot start krb5kdc";
        return;
    }
    for (int attempt = 0; attempt < 100 && !(ready_ = AcceptsConnections(port)); ++attempt)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    if (!ready_) problem_ = "krb5kdc did not start listening";
}

LoopbackKdc::~LoopbackKdc() {
    if (kdc_ > 0) {
        kill(kdc_, SIGTERM);
        waitpid(kdc_, nullptr, 0);
    }
}

bool LoopbackKdc::Run(const std::string& command) {
    if (std::system((command + " > /dev/null 2>&1").c_str()) != 0) {
        problem_ = "failed: " + command.substr(0, command.find(" -q"));
        return false;
    }
    return true;
}

}  // namespace qntest
