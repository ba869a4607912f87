// Round trips per check, read from the simulator's request log: how many HTTP requests a check on a warm
// session costs, and how often NTLM authenticates (401 legs, TCP connections). Prints a Markdown section.
#include <cstdio>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "BenchSupport.h"

namespace {

using qnbench::LogLine;

struct Check {
    const char* name;
    std::function<uint32_t(QNSNWSM_HANDLE)> run;
};

std::vector<Check> Checks() {
    static char list[1 << 20];
    static char text[4][256];
    static char error[512];
    static uint32_t n[5];
    return {
        {"WSManGetDomain",
         [](QNSNWSM_HANDLE h) { return WSManGetDomain(h, text[0], 256, error, sizeof error, &n[0]); }},
        {"WSManGetMemory",
         [](QNSNWSM_HANDLE h) { return WSManGetMemory(h, &n[0], &n[1], &n[2], error, sizeof error); }},
        {"WSManGetLogicalDiskSpace",
         [](QNSNWSM_HANDLE h) {
             return WSManGetLogicalDiskSpace(h, "C:", &n[0], &n[1], &n[2], &n[3], error, sizeof error);
         }},
        {"WSManGetCpuUsage",
         [](QNSNWSM_HANDLE h) { return WSManGetCpuUsage(h, "_Total", 0, 0, &n[0], error, sizeof error); }},
        {"WSManGetServiceState",
         [](QNSNWSM_HANDLE h) {
             return WSManGetServiceState(h, "Spooler", text[0], 256, text[1], 256, &n[0], text[2], 256,
                                         text[3], 256, error, sizeof error);
         }},
        {"WSManGetServiceList",
         [](QNSNWSM_HANDLE h) { return WSManGetServiceList(h, list, sizeof list, error, sizeof error); }},
        {"WSManGetProcessList",
         [](QNSNWSM_HANDLE h) { return WSManGetProcessList(h, list, sizeof list, error, sizeof error); }},
    };
}

struct Tally {
    int requests = 0;  // WS-Management requests (authentication legs without a body are not counted)
    int legs401 = 0;
    std::set<int> connections;
    std::string actions;
};

Tally Count(const std::vector<LogLine>& lines) {
    Tally tally;
    for (const auto& line : lines) {
        tally.connections.insert(line.connection);
        if (line.status == 401) {
            ++tally.legs401;
        } else if (!line.action.empty()) {
            ++tally.requests;
            if (!tally.actions.empty()) tally.actions += "+";
            tally.actions += line.action;
        }
    }
    return tally;
}

void RunProfile(const char* title, const std::vector<std::string>& simArguments) {
    qnbench::BenchFolder folder;
    const auto log = folder.File("requests.log");
    std::vector<std::string> arguments = simArguments;
    arguments.insert(arguments.end(), {"--log", log.string()});
    qnbench::SimProcess sim(folder, arguments);

    QNSNWSM_HANDLE handle = qnbench::ConnectHandle(sim.Port(), "roundtrips");
    const Tally connect = Count(qnbench::ReadLog(log));
    std::printf("\n### %s\n\n", title);
    std::printf(
        "Connect (with the access check): %d HTTP lines, %d of them 401 legs, %zu TCP connection(s).\n\n",
        connect.requests + connect.legs401, connect.legs401, connect.connections.size());
    std::printf("| check (warm session) | HTTP requests | requests | 401 legs | new TCP connections |\n");
    std::printf("|---|---|---|---|---|\n");

    std::set<int> seen = connect.connections;
    std::size_t at = qnbench::ReadLog(log).size();
    for (const auto& check : Checks()) {
        // Warm once, then count the second call.
        check.run(handle);
        at = qnbench::ReadLog(log).size();
        const uint32_t result = check.run(handle);
        const auto lines = qnbench::ReadLog(log, at);
        const Tally tally = Count(lines);
        int fresh = 0;
        for (int connection : tally.connections) {
            fresh += seen.insert(connection).second ? 1 : 0;
        }
        std::printf("| %s%s | %zu | %s | %d | %d |\n", check.name, result == QNSNWSM_OK ? "" : " (failed)",
                    lines.size(), tally.actions.c_str(), tally.legs401, fresh);
    }

    // Many checks in a row: authentication stays with the connection.
    at = qnbench::ReadLog(log).size();
    const auto checks = Checks();
    constexpr int kRounds = 5;
    for (int round = 0; round < kRounds; ++round) {
        for (const auto& check : checks) {
            check.run(handle);
        }
    }
    const Tally many = Count(qnbench::ReadLog(log, at));
    std::printf("\n%d further checks: %d requests, %d 401 legs, %zu TCP connection(s) used (conn numbers ",
                kRounds * static_cast<int>(checks.size()), many.requests, many.legs401,
                many.connections.size());
    for (int connection : many.connections) {
        std::printf("%d ", connection);
    }
    std::printf(").\n");
    WSManShutdown(handle);
}

}  // namespace

int main() {
    std::printf(
        "## Round trips per check\n\nFrom the simulator's request log (`--log`), `server` profile, NTLM "
        "through Negotiate with sealed bodies over HTTP. Each check is run once to warm up, then "
        "counted.\n");
    RunProfile("Simulator default: one item with the EnumerateResponse (as Windows was observed to do)",
               {"--profile", "server"});
    RunProfile("`--first-batch 32000`: the whole answer may come with the EnumerateResponse",
               {"--profile", "server", "--first-batch", "32000"});
    return 0;
}
