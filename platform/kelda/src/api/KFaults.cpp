#include "kelda/testing/KFaults.h"

#include <map>
#include <string>

namespace KFaults
{

bool armed = false;
KStatus::KStatusCode status = KStatus::kFailure;

namespace
{

struct Operation {
    unsigned calls = 0;
    unsigned failFrom = 0; ///< number of the first call that fails; 0: none
    unsigned failCount = 0;
    KStatus::KStatusCode status = KStatus::kFailure;
};

std::map<std::string, Operation>& operations()
{
    static std::map<std::string, Operation> all;
    return all;
}

std::vector<std::string>& lines()
{
    static std::vector<std::string> all;
    return all;
}

} // namespace

void failCall(const char* operation, unsigned n, unsigned count)
{
    failCallWith(KStatus::kFailure, operation, n, count);
}

void failCallWith(KStatus::KStatusCode status, const char* operation, unsigned n, unsigned count)
{
    Operation& o = operations()[operation];
    o.status = status;
    o.failFrom = o.calls + n;
    o.failCount = n == 0 ? 0 : count;
    armed = true;
}

void watch()
{
    armed = true;
}

void clear()
{
    operations().clear();
    lines().clear();
    armed = false;
}

unsigned calls(const char* operation)
{
    const auto found = operations().find(operation);
    return found == operations().end() ? 0 : found->second.calls;
}

std::vector<std::string> script()
{
    return lines();
}

void noteSlow(const char* line)
{
    lines().push_back(line);
}

bool hitSlow(const char* operation)
{
    Operation& o = operations()[operation];
    ++o.calls;
    status = o.status;
    return o.failCount > 0 && o.calls >= o.failFrom && o.calls - o.failFrom < o.failCount;
}

} // namespace KFaults
