#pragma once
// A scoped timer that adds its time to a table kept per function name,
// shared by all instances and all threads.

#include "platform/api.h"

#include <string>
#include <vector>

#include "foundation/SimpleTimer.h"

TOLMAR_PUBLIC_BEGIN

class Stopwatch {
public:
    explicit Stopwatch(std::string functionName);
    ~Stopwatch();
    Stopwatch(Stopwatch const&) = delete;
    Stopwatch& operator=(Stopwatch const&) = delete;

    // Clears the table.
    static void reset();
    // The names in the table, sorted.
    static std::vector<std::string> functionNames();
    // Total milliseconds recorded for a name; 0 for an unknown one.
    static double msecondsSpentInFunction(std::string const& functionName);
    // The table under the heading "Stopwatch timings", on standard output or
    // the debug stream; byTime lists the largest total first, else by name.
    static void outputSummary(bool byTime);
    static void outputDebugStrSummary(bool byTime);

private:
    std::string name_;
    SimpleTimer timer_;
};

TOLMAR_PUBLIC_END
