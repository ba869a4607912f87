// The reply path of one enumeration, step by step and without the network: the `server` profile's 2,000
// Win32_Process items in envelopes of 200 (about the 512,000 bytes Windows puts in one), each step timed per
// item. Beside them the floor no client of sealed NTLM can go under: RC4 over the bytes and the HMAC-MD5 of
// the signature (what NTLM unsealing computes), and one libxml2 pass over the bytes that builds nothing;
// with pugixml installed, also its parse of the same bytes, the fastest well-kept parser in Debian.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/provider.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#ifdef QN_BENCH_PUGIXML
#include <pugixml.hpp>
#endif

#include "model/ComputerModel.h"
#include "server/Envelope.h"
#include "wsman/core/AttributeBound.h"
#include "wsman/soap/EnvelopeReader.h"

namespace {

constexpr std::size_t kItemsPerEnvelope = 200;

std::vector<std::string> g_envelopes;
std::size_t g_items = 0;

void PerItem(benchmark::State& state) {
    state.counters["us_per_item"] = benchmark::Counter(
        static_cast<double>(state.iterations() * g_items),
        benchmark::Counter::kIsRate | benchmark::Counter::kInvert, benchmark::Counter::kIs1000);
}

void Rc4(benchmark::State& state) {
    std::size_t largest = 0;
    for (const std::string& envelope : g_envelopes) largest = std::max(largest, envelope.size());
    std::vector<unsigned char> out(largest + 64);
    const unsigned char key[16] = {1, 2, 3};
    EVP_CIPHER* rc4 = EVP_CIPHER_fetch(nullptr, "RC4", "provider=legacy");
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    if (rc4 == nullptr || EVP_EncryptInit_ex(ctx, rc4, nullptr, key, nullptr) != 1) {
        state.SkipWithError("no RC4 in OpenSSL's legacy provider");
    } else {
        for (auto _ : state) {
            for (const std::string& envelope : g_envelopes) {
                int length = 0;
                EVP_EncryptUpdate(ctx, out.data(), &length,
                                  reinterpret_cast<const unsigned char*>(envelope.data()),
                                  static_cast<int>(envelope.size()));
                benchmark::DoNotOptimize(out.data());
            }
        }
    }
    EVP_CIPHER_CTX_free(ctx);
    EVP_CIPHER_free(rc4);
    PerItem(state);
}

void HmacMd5(benchmark::State& state) {
    const unsigned char key[16] = {1, 2, 3};
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    for (auto _ : state) {
        for (const std::string& envelope : g_envelopes) {
            HMAC(EVP_md5(), key, sizeof key, reinterpret_cast<const unsigned char*>(envelope.data()),
                 envelope.size(), digest, &length);
            benchmark::DoNotOptimize(digest);
        }
    }
    PerItem(state);
}

// libxml2 reading every byte (names interned, attributes split, references resolved) and building nothing.
void OneSaxPass(benchmark::State& state) {
    xmlSAXHandler none{};
    none.initialized = XML_SAX2_MAGIC;
    for (auto _ : state) {
        for (const std::string& envelope : g_envelopes) {
            xmlParserCtxt* ctxt = xmlNewParserCtxt();
            *ctxt->sax = none;
            xmlCtxtReadMemory(ctxt, envelope.data(), static_cast<int>(envelope.size()), nullptr, nullptr,
                              XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
            if (ctxt->wellFormed == 0) state.SkipWithError("not well-formed");
            xmlFreeParserCtxt(ctxt);
        }
    }
    PerItem(state);
}

#ifdef QN_BENCH_PUGIXML
// pugixml parsing the reply where it lies (a copy of it, as it changes the bytes), references decoded and
// line ends normalised as XML wants; with `walk`, then a walk over every element and attribute of what it
// built. It does not do what the library relies on libxml2 for: namespaces, UTF-8 and character checks,
// duplicate attributes, DTD refusal; those would come on top.
template <bool walk>
void Pugixml(benchmark::State& state) {
    std::vector<char> scratch;
    for (auto _ : state) {
        for (const std::string& envelope : g_envelopes) {
            scratch.assign(envelope.begin(), envelope.end());
            pugi::xml_document document;
            const pugi::xml_parse_result parsed = document.load_buffer_inplace(
                scratch.data(), scratch.size(), pugi::parse_default, pugi::encoding_utf8);
            if (!parsed) state.SkipWithError("pugixml refused the envelope");
            std::size_t attributes = 0;
            struct Counter : pugi::xml_tree_walker {
                std::size_t* attributes;
                bool for_each(pugi::xml_node& node) override {
                    for (pugi::xml_attribute attribute : node.attributes()) {
                        ++*attributes;
                        benchmark::DoNotOptimize(attribute.value());
                    }
                    return true;
                }
            } counter;
            counter.attributes = &attributes;
            if (walk) document.traverse(counter);
            benchmark::DoNotOptimize(attributes);
        }
    }
    PerItem(state);
}
#endif

void AttributeBound(benchmark::State& state) {
    for (auto _ : state) {
        for (const std::string& envelope : g_envelopes) {
            if (!wsman::xml::AttributesWithinBound(envelope)) state.SkipWithError("bound");
        }
    }
    PerItem(state);
}

// The reply check's one pass: the bound, libxml2's SAX pass, each item's own text handed on.
void ReadEnvelope(benchmark::State& state) {
    wsman::soap::EnvelopeSummary summary;
    for (auto _ : state) {
        for (const std::string& envelope : g_envelopes) {
            if (wsman::soap::ReadEnvelope(envelope, summary) != wsman::soap::EnvelopeReadOutcome::Read ||
                summary.items.empty())
                state.SkipWithError("envelope not read");
        }
    }
    PerItem(state);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    OSSL_PROVIDER_load(nullptr, "legacy");
    OSSL_PROVIDER_load(nullptr, "default");
    std::string error;
    auto model = qnsim::LoadComputerModel("server", error);
    if (!model) {
        std::fprintf(stderr, "profile: %s\n", error.c_str());
        return 1;
    }
    auto result =
        model->ExecQuery("root/cimv2", "select * from Win32_Process", std::chrono::steady_clock::now());
    if (!result.ok || result.value.empty()) return 1;
    std::size_t bytes = 0;
    for (std::size_t first = 0; first < result.value.size(); first += kItemsPerEnvelope) {
        std::string items;
        for (std::size_t i = first; i < std::min(result.value.size(), first + kItemsPerEnvelope); ++i)
            items += result.value[i].xml;
        g_envelopes.push_back(qnsim::RenderEnvelope(
            "http://schemas.xmlsoap.org/ws/2004/09/enumeration/PullResponse", "uuid:R",
            "<n:PullResponse><n:EnumerationContext>uuid:C</n:EnumerationContext><n:Items>" + items +
                "</n:Items></n:PullResponse>",
            ""));
        bytes += g_envelopes.back().size();
    }
    g_items = result.value.size();
    std::printf("%zu Win32_Process items in %zu envelopes, %zu bytes per item\n", g_items, g_envelopes.size(),
                bytes / g_items);

    using Step = void (*)(benchmark::State&);
    const std::pair<const char*, Step> steps[] = {
        {"Floor/RC4", Rc4},
        {"Floor/HMAC-MD5", HmacMd5},
        {"Floor/OneSaxPass", OneSaxPass},
#ifdef QN_BENCH_PUGIXML
        {"Compare/PugixmlParse", Pugixml<false>},
        {"Compare/PugixmlParseAndWalk", Pugixml<true>},
#endif
        {"ReplyPath/AttributeBound", AttributeBound},
        {"ReplyPath/ReadEnvelope", ReadEnvelope},
    };
    for (const auto& [name, step] : steps)
        benchmark::RegisterBenchmark(name, step)->Unit(benchmark::kMillisecond);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
