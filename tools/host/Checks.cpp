#include "Checks.h"

#include <cstdint>

#include "ListText.h"

namespace qnhost {

namespace {

constexpr std::uint32_t kTextSize = 4096;
constexpr std::uint32_t kListSize = 1u << 20;  // lists of a large server (2,000 processes) fit

class Buffer {
  public:
    explicit Buffer(std::uint32_t size = kTextSize) : data_(size, '\0') {}
    char* data() { return data_.data(); }
    std::uint32_t size() const { return static_cast<std::uint32_t>(data_.size()); }
    std::string str() const { return std::string(data_.data()); }

  private:
    std::vector<char> data_;
};

CheckResult Begin(const char* command, std::uint32_t code, const Buffer& error) {
    CheckResult result;
    result.command = command;
    result.code = code;
    result.error = error.str();
    return result;
}

void AddRows(CheckResult& result, std::vector<std::string> columns, const std::string& joined) {
    result.rows = SplitRows(joined, columns.size(), &result.irregularRows);
    result.columns = std::move(columns);
}

void AddNames(CheckResult& result, const std::string& column, const std::vector<std::string>& names) {
    result.columns = {column};
    for (const std::string& name : names) result.rows.push_back({name});
}

using Args = std::vector<std::string>;

CheckResult Domain(ModuleHandle h, const CheckParameters&, const Args&) {
    Buffer domain, error;
    std::uint32_t role = 0;
    const auto code = WSManGetDomain(h, domain.data(), domain.size(), error.data(), error.size(), &role);
    CheckResult r = Begin("domain", code, error);
    r.AddText("domain", domain.str());
    r.AddFlag("domainMember", role);
    return r;
}

CheckResult Cpu(ModuleHandle h, const CheckParameters& o, const Args& a) {
    const std::string cpu = a.empty() ? "_Total" : a[0];
    Buffer error;
    std::uint32_t usage = 0;
    const auto code =
        WSManGetCpuUsage(h, cpu.c_str(), o.sleepMs, o.durationMs, &usage, error.data(), error.size());
    CheckResult r = Begin("cpu", code, error);
    r.AddText("cpu", cpu);
    r.AddNumber("usagePercent", usage);
    return r;
}

CheckResult Disks(ModuleHandle h, const CheckParameters&, const Args&) {
    Buffer list(kListSize), bad(kListSize), status(kListSize), error;
    std::uint32_t allOk = 0;
    const auto code = WSManGetDisksState(h, &allOk, list.data(), bad.data(), status.data(), list.size(),
                                         error.data(), error.size());
    CheckResult r = Begin("disks", code, error);
    r.AddFlag("allDisksOk", allOk);
    r.AddText("badDisk", bad.str());
    r.AddText("badDiskStatus", status.str());
    AddNames(r, "healthyDisk", SplitBracketList(list.str()));
    return r;
}

CheckResult DiskSpace(ModuleHandle h, const CheckParameters&, const Args& a) {
    Buffer error;
    std::uint32_t found = 0, freeMB = 0, usedMB = 0, sizeMB = 0;
    const auto code = WSManGetLogicalDiskSpace(h, a[0].c_str(), &found, &freeMB, &usedMB, &sizeMB,
                                               error.data(), error.size());
    CheckResult r = Begin("disk-space", code, error);
    r.AddText("drive", a[0]);
    r.AddFlag("found", found);
    r.AddNumber("freeMB", freeMB);
    r.AddNumber("usedMB", usedMB);
    r.AddNumber("sizeMB", sizeMB);
    return r;
}

CheckResult Memory(ModuleHandle h, const CheckParameters&, const Args&) {
    Buffer error;
    std::uint32_t available = 0, committed = 0, pages = 0;
    const auto code = WSManGetMemory(h, &available, &committed, &pages, error.data(), error.size());
    CheckResult r = Begin("memory", code, error);
    r.AddNumber("availableMB", available);
    r.AddNumber("committedMB", committed);
    r.AddNumber("pagesPerSec", pages);
    return r;
}

template <typename Export>
CheckResult List(const char* command, Export exportFunction, ModuleHandle h,
                 std::vector<std::string> columns) {
    Buffer list(kListSize), error;
    const auto code = exportFunction(h, list.data(), list.size(), error.data(), error.size());
    CheckResult r = Begin(command, code, error);
    AddRows(r, std::move(columns), list.str());
    return r;
}

CheckResult Printer(ModuleHandle h, const CheckParameters&, const Args& a) {
    Buffer error;
    std::uint32_t found = 0, availability = 0, errorState = 0, status = 0;
    const auto code = WSManGetPrinterState(h, a[0].c_str(), &found, &availability, &errorState, &status,
                                           error.data(), error.size());
    CheckResult r = Begin("printer", code, error);
    r.AddText("printer", a[0]);
    r.AddFlag("found", found);
    r.AddNumber("availability", availability);
    r.AddNumber("detectedErrorState", errorState);
    r.AddNumber("printerStatus", status);
    return r;
}

CheckResult Process(ModuleHandle h, const CheckParameters&, const Args& a) {
    Buffer error;
    std::uint32_t running = 0;
    const auto code = WSManGetProcessState(h, a[0].c_str(), &running, error.data(), error.size());
    CheckResult r = Begin("process", code, error);
    r.AddText("process", a[0]);
    r.AddFlag("running", running);
    return r;
}

CheckResult ProcessUsage(ModuleHandle h, const CheckParameters& o, const Args& a) {
    const std::string name = a.empty() ? "" : a[0];
    Buffer instance, error;
    std::uint32_t pid = 0, cpu = 0, memory = 0, handles = 0;
    const auto code = WSManGetProcessCpuMemHandles(
        h, name.c_str(), o.exclude.c_str(), static_cast<std::uint32_t>(o.cpuThreshold), o.sleepMs,
        o.durationMs, static_cast<std::uint32_t>(o.memoryThreshold), o.memoryCounter,
        static_cast<std::uint32_t>(o.handlesThreshold), &pid, instance.data(), instance.size(), &cpu, &memory,
        &handles, error.data(), error.size());
    CheckResult r = Begin("process-usage", code, error);
    r.AddText("instance", instance.str());
    r.AddNumber("processId", pid);
    r.AddNumber("cpuPercent", cpu);
    r.AddNumber("memoryMB", memory);
    r.AddNumber("handles", handles);
    return r;
}

CheckResult Pool(ModuleHandle h, const CheckParameters&, const Args& a) {
    Buffer state, error;
    std::uint32_t started = 0;
    const auto code = WSManGetApplicationPoolState(h, a[0].c_str(), &started, state.data(), state.size(),
                                                   error.data(), error.size());
    CheckResult r = Begin("pool", code, error);
    r.AddText("pool", a[0]);
    r.AddFlag("started", started);
    r.AddText("state", state.str());
    return r;
}

CheckResult Queue(ModuleHandle h, const CheckParameters&, const Args& a) {
    Buffer error;
    std::uint32_t found = 0, messages = 0, kilobytes = 0;
    const auto code =
        WSManGetMsMqLength(h, a[0].c_str(), &found, &messages, &kilobytes, error.data(), error.size());
    CheckResult r = Begin("queue", code, error);
    r.AddText("queue", a[0]);
    r.AddFlag("found", found);
    r.AddNumber("messages", messages);
    r.AddNumber("kilobytes", kilobytes);
    return r;
}

CheckResult Service(ModuleHandle h, const CheckParameters&, const Args& a) {
    Buffer name, display, state, startMode, error;
    std::uint32_t installed = 0;
    const auto code = WSManGetServiceState(h, a[0].c_str(), name.data(), name.size(), display.data(),
                                           display.size(), &installed, state.data(), state.size(),
                                           startMode.data(), startMode.size(), error.data(), error.size());
    CheckResult r = Begin("service", code, error);
    r.AddFlag("installed", installed);
    r.AddText("name", name.str());
    r.AddText("displayName", display.str());
    r.AddText("state", state.str());
    r.AddText("startMode", startMode.str());
    return r;
}

CheckResult Share(ModuleHandle h, const CheckParameters&, const Args& a) {
    Buffer text, error;
    std::uint32_t found = 0;
    const auto code =
        WSManGetShareState(h, a[0].c_str(), &found, text.data(), text.size(), error.data(), error.size());
    CheckResult r = Begin("share", code, error);
    r.AddText("share", a[0]);
    r.AddFlag("found", found);
    return r;
}

CheckResult Sessions(ModuleHandle h, const CheckParameters&, const Args&) {
    Buffer error;
    std::uint32_t active = 0, inactive = 0, third = 0;
    const auto code =
        WSManGetTerminalServerSessions(h, &active, &inactive, &third, error.data(), error.size());
    CheckResult r = Begin("sessions", code, error);
    r.AddNumber("active", active);
    r.AddNumber("inactive", inactive);
    return r;
}

CheckResult Counter(ModuleHandle h, const CheckParameters&, const Args& a) {
    const std::string instance = a.size() > 2 ? a[2] : "";
    Buffer value, error;
    std::uint32_t numeric = 0;
    const auto code = WSManGetWmiCounterData(h, a[0].c_str(), a[1].c_str(), instance.c_str(), &numeric,
                                             value.data(), value.size(), error.data(), error.size());
    CheckResult r = Begin("counter", code, error);
    r.AddText("class", a[0]);
    r.AddText("counter", a[1]);
    r.AddText("instance", instance);
    r.AddText("value", value.str());
    r.AddFlag("numeric", numeric);
    return r;
}

CheckResult UsbDrives(ModuleHandle h, const CheckParameters&, const Args&) {
    Buffer list(kListSize), error;
    const auto code = WSManGetRemovableDrives(h, list.data(), list.size(), error.data(), error.size());
    CheckResult r = Begin("usb-drives", code, error);
    AddNames(r, "model", SplitText(list.str(), ";"));
    return r;
}

CheckResult Members(ModuleHandle h, const CheckParameters&, const Args& a) {
    Buffer list(kListSize), error;
    const auto code = WSManGetWinGroupMemberList(h, a[0].c_str(), a[1].c_str(), list.data(), list.size(),
                                                 error.data(), error.size());
    CheckResult r = Begin("members", code, error);
    AddRows(r, {"caption", "fullName", "name"}, list.str());
    return r;
}

CheckResult Nic(ModuleHandle h, const CheckParameters&, const Args& a) {
    Buffer error;
    std::uint32_t found = 0, mbit = 0, bytes = 0, kilobytes = 0;
    const auto code = WSManGetNICTrafficValues(h, a[0].c_str(), &found, &mbit, &bytes, &kilobytes,
                                               error.data(), error.size());
    CheckResult r = Begin("nic", code, error);
    r.AddText("interface", a[0]);
    r.AddFlag("found", found);
    r.AddNumber("bandwidthMbit", mbit);
    r.AddNumber("bytesPerSec", bytes);
    r.AddNumber("kilobytesPerSec", kilobytes);
    return r;
}

CheckResult RestartService(ModuleHandle h, const CheckParameters&, const Args& a) {
    Buffer error;
    const auto code = WSManRestartService(h, a[0].c_str(), error.data(), error.size());
    CheckResult r = Begin("restart-service", code, error);
    r.AddText("service", a[0]);
    return r;
}

CheckResult Reboot(ModuleHandle h, const CheckParameters&, const Args&) {
    Buffer error;
    const auto code = WSManRebootComputer(h, error.data(), error.size());
    return Begin("reboot", code, error);
}

template <typename Export>
CheckResult ClassList(const char* command, Export exportFunction, ModuleHandle h,
                      const std::string& className, std::vector<std::string> columns) {
    Buffer list(kListSize), error;
    const auto code =
        exportFunction(h, className.c_str(), list.data(), list.size(), error.data(), error.size());
    CheckResult r = Begin(command, code, error);
    r.AddText("class", className);
    AddRows(r, std::move(columns), list.str());
    return r;
}

std::vector<CheckSpec> BuildChecks() {
    std::vector<CheckSpec> checks;
    checks.reserve(40);  // `add` hands out pointers into the vector
    auto add = [&checks](std::string name, std::size_t minArgs, std::size_t maxArgs, auto run) {
        CheckSpec spec;
        spec.name = std::move(name);
        spec.minArgs = minArgs;
        spec.maxArgs = maxArgs;
        spec.run = run;
        checks.push_back(std::move(spec));
        return &checks.back();
    };
    add("domain", 0, 0, Domain);
    add("cpu", 0, 1, Cpu)->sampling = true;
    add("disks", 0, 0, Disks);
    add("disk-space", 1, 1, DiskSpace);
    add("memory", 0, 0, Memory);
    add("printers", 0, 0, [](ModuleHandle h, const CheckParameters&, const Args&) {
        return List("printers", WSManGetPrinterList, h, {"printer", "note"});
    });
    add("printer", 1, 1, Printer);
    add("processes", 0, 0, [](ModuleHandle h, const CheckParameters&, const Args&) {
        return List("processes", WSManGetProcessList, h, {"process"});
    });
    add("process", 1, 1, Process);
    add("process-usage", 0, 1, ProcessUsage)->sampling = true;
    CheckSpec* pools = add("pools", 0, 0, [](ModuleHandle h, const CheckParameters&, const Args&) {
        return List("pools", WSManGetApplicationPoolList, h, {"pool"});
    });
    pools->webAdministration = true;
    add("pool", 1, 1, Pool)->webAdministration = true;
    add("queues", 0, 0, [](ModuleHandle h, const CheckParameters&, const Args&) {
        return List("queues", WSManGetMsMqList, h, {"queue"});
    });
    add("queue", 1, 1, Queue);
    add("services", 0, 0, [](ModuleHandle h, const CheckParameters&, const Args&) {
        return List("services", WSManGetServiceList, h, {"name", "displayName"});
    });
    add("service", 1, 1, Service);
    add("share", 1, 1, Share);
    add("sessions", 0, 0, Sessions);
    add("counter", 2, 3, Counter);
    add("usb-drives", 0, 0, UsbDrives);
    add("users", 0, 0, [](ModuleHandle h, const CheckParameters&, const Args&) {
        return List("users", WSManGetWinUserAccountList, h,
                    {"caption", "fullName", "name", "lockedOut", "disabled"});
    });
    add("groups", 0, 0, [](ModuleHandle h, const CheckParameters&, const Args&) {
        return List("groups", WSManGetWinGroupList, h, {"caption", "name", "domain"});
    });
    add("members", 2, 2, Members);
    add("nics", 0, 0, [](ModuleHandle h, const CheckParameters&, const Args&) {
        return List("nics", WSManGetNICList, h, {"interface"});
    });
    add("nic", 1, 1, Nic);
    CheckSpec* restart = add("restart-service", 1, 1, RestartService);
    restart->sampling = true;
    restart->changesComputer = true;
    add("reboot", 0, 0, Reboot)->changesComputer = true;
    add("classes", 0, 0, [](ModuleHandle h, const CheckParameters&, const Args&) {
        return List("classes", WSManCollectClasses, h, {"class"});
    });
    add("instances", 1, 1, [](ModuleHandle h, const CheckParameters&, const Args& a) {
        return ClassList("instances", WSManCollectInstances, h, a[0], {"instance"});
    });
    add("properties", 1, 1, [](ModuleHandle h, const CheckParameters&, const Args& a) {
        return ClassList("properties", WSManCollectProperties, h, a[0], {"property", "cimType"});
    });
    return checks;
}

}  // namespace

const std::vector<CheckSpec>& AllChecks() {
    static const std::vector<CheckSpec> checks = BuildChecks();
    return checks;
}

const CheckSpec* FindCheck(const std::string& name) {
    for (const CheckSpec& spec : AllChecks())
        if (spec.name == name) return &spec;
    return nullptr;
}

}  // namespace qnhost
