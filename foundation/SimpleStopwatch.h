#pragma once
// Logs "Ms spent in NAME: N" when it goes out of scope.

#include <string>

#include "foundation/SimpleTimer.h"

class SimpleStopwatch {
public:
    explicit SimpleStopwatch(char const* name) : name_(name ? name : "") {}
    ~SimpleStopwatch();
    SimpleStopwatch(SimpleStopwatch const&) = delete;
    SimpleStopwatch& operator=(SimpleStopwatch const&) = delete;

private:
    std::string name_;
    SimpleTimer timer_;
};
