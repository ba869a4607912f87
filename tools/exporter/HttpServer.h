// The HTTP side: libmicrohttpd with one thread per connection, bounded in number, routing /, /metrics and
// /probe.
#pragma once

#include <microhttpd.h>

#include <memory>
#include <string>

#include "ExporterMetrics.h"
#include "Prober.h"

namespace qnexporter {

class HttpServer {
  public:
    HttpServer(Prober& prober, ExporterMetrics& metrics) : prober_(prober), metrics_(metrics) {}
    ~HttpServer() { Stop(); }
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // Listens on "HOST:PORT", ":PORT" (every address) or "[v6]:PORT"; false with `error` set on failure.
    bool Start(const std::string& listenAddress, std::size_t maxConnections, std::string& error);
    void Stop();

    HttpAnswer Answer(const std::string& method, const std::string& url, MHD_Connection* connection);

  private:
    std::string IndexPage() const;

    Prober& prober_;
    ExporterMetrics& metrics_;
    MHD_Daemon* daemon_ = nullptr;
};

}  // namespace qnexporter
