#include "foundation/SimpleStopwatch.h"
#include "foundation/Stopwatch.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <mutex>
#include <utility>

#include "foundation/log.h"
#include "platform/debug_stream.h"

SimpleStopwatch::~SimpleStopwatch()
{
    Util::logf("Ms spent in %s: %d\n", name_.c_str(), static_cast<int>(timer_.ellapsedTimeMS()));
}

namespace {

struct Entry {
    double ms = 0.0;
    long long calls = 0;
};

std::mutex& tableMutex()
{
    static std::mutex m;
    return m;
}

std::map<std::string, Entry>& table()
{
    static std::map<std::string, Entry> t;
    return t;
}

std::string summary(bool byTime)
{
    std::vector<std::pair<std::string, Entry>> rows;
    {
        std::lock_guard<std::mutex> lock(tableMutex());
        rows.assign(table().begin(), table().end());
    }
    if (byTime)
        std::stable_sort(rows.begin(), rows.end(), [](auto const& a, auto const& b) { return a.second.ms > b.second.ms; });
    std::string out = "Stopwatch timings\n";
    for (auto const& [name, e] : rows) {
        char line[512];
        std::snprintf(line, sizeof line, "%12.3f ms %8lld calls  %s\n", e.ms, e.calls, name.c_str());
        out += line;
    }
    return out;
}

} // namespace

Stopwatch::Stopwatch(std::string functionName) : name_(std::move(functionName)) {}

Stopwatch::~Stopwatch()
{
    double const ms = timer_.ellapsedTimeMS();
    std::lock_guard<std::mutex> lock(tableMutex());
    Entry& e = table()[name_];
    e.ms += ms;
    ++e.calls;
}

void Stopwatch::reset()
{
    std::lock_guard<std::mutex> lock(tableMutex());
    table().clear();
}

std::vector<std::string> Stopwatch::functionNames()
{
    std::lock_guard<std::mutex> lock(tableMutex());
    std::vector<std::string> names;
    for (auto const& kv : table()) names.push_back(kv.first);
    return names;
}

double Stopwatch::msecondsSpentInFunction(std::string const& functionName)
{
    std::lock_guard<std::mutex> lock(tableMutex());
    auto const it = table().find(functionName);
    return it == table().end() ? 0.0 : it->second.ms;
}

void Stopwatch::outputSummary(bool byTime)
{
    std::string const text = summary(byTime);
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

void Stopwatch::outputDebugStrSummary(bool byTime) { Tolmar::platform::debug_write(summary(byTime)); }
