#include "wsman/http/TlsPeerCheck.h"

#include <openssl/ssl.h>
#include <openssl/x509.h>

#include "wsman/security/TlsChannelBinding.h"

namespace wsman::http {
namespace {

int CheckIndex() {
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

std::string ToDer(X509* certificate) {
    const int length = i2d_X509(certificate, nullptr);
    if (length <= 0) {
        return {};
    }
    std::string der(static_cast<std::size_t>(length), '\0');
    auto* cursor = reinterpret_cast<unsigned char*>(der.data());
    i2d_X509(certificate, &cursor);
    return der;
}

int VerifyPeer(int preverified, X509_STORE_CTX* store) {
    auto* ssl = static_cast<SSL*>(X509_STORE_CTX_get_ex_data(store, SSL_get_ex_data_X509_STORE_CTX_idx()));
    auto* check =
        ssl ? static_cast<TlsPeerCheck*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), CheckIndex())) : nullptr;
    if (check == nullptr) {
        return preverified;
    }
    const bool pinned = !check->pinnedSha256.empty();
    if (X509_STORE_CTX_get_error_depth(store) == 0) {
        check->serverCertificateDer = ToDer(X509_STORE_CTX_get_current_cert(store));
        if (pinned && !security::SameFingerprint(
                          check->pinnedSha256, security::CertificateSha256Hex(check->serverCertificateDer))) {
            check->pinMismatch = true;
            X509_STORE_CTX_set_error(store, X509_V_ERR_APPLICATION_VERIFICATION);
            return 0;
        }
    }
    // The pinned leaf is the whole trust decision, so the chain above it (or its absence) does not matter.
    return check->skipCaCheck || pinned ? 1 : preverified;
}

CURLcode PrepareSslContext(CURL*, void* sslContext, void* user) {
    auto* context = static_cast<SSL_CTX*>(sslContext);
    auto* check = static_cast<TlsPeerCheck*>(user);
    check->serverCertificateDer.clear();
    check->pinMismatch = false;
    check->caFileUnusable = false;
    if (!check->extraCaFile.empty() &&
        SSL_CTX_load_verify_locations(context, check->extraCaFile.c_str(), nullptr) != 1) {
        check->caFileUnusable = true;
        return CURLE_SSL_CACERT_BADFILE;
    }
    SSL_CTX_set_ex_data(context, CheckIndex(), check);
    // Always verify so the callback sees the chain; it decides what a failure means.
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, VerifyPeer);
    return CURLE_OK;
}

}  // namespace

void InstallTlsPeerCheck(CURL* curl, TlsPeerCheck& check) {
    curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, PrepareSslContext);
    curl_easy_setopt(curl, CURLOPT_SSL_CTX_DATA, &check);
    // Resumed TLS sessions skip certificate verification, and with it the recording above.
    curl_easy_setopt(curl, CURLOPT_SSL_SESSIONID_CACHE, 0L);
}

}  // namespace wsman::http
