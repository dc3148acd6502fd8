#pragma once
// Logs "Ms spent in NAME: N" when it goes out of scope.

#include "platform/api.h"

#include <string>

#include "foundation/SimpleTimer.h"

TOLMAR_PUBLIC_BEGIN

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

TOLMAR_PUBLIC_END
