#pragma once
// The engine's progress callback as the package tests see it: every report recorded, and a stop
// (an answer of 0) wherever `stopWhen` says so.

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/EngineCallback.h"

namespace package_tests {

struct Report {
    std::uint32_t operation;
    std::int64_t total;
    std::int64_t processed;
    std::u16string fileName;
    std::uint32_t code; // the status code of an OpError report
};

struct Recorder {
    KvxUtils::UserParameter record;
    std::vector<Report> reports;
    std::function<bool(const Report&)> stopWhen;

    int count(std::uint32_t operation) const
    {
        return static_cast<int>(
            std::count_if(reports.begin(), reports.end(), [&](const Report& r) { return r.operation == operation; }));
    }
    const Report* last(std::uint32_t operation) const
    {
        const auto found
            = std::find_if(reports.rbegin(), reports.rend(), [&](const Report& r) { return r.operation == operation; });
        return found == reports.rend() ? nullptr : &*found;
    }
};

// The recorder the callback writes to.
inline Recorder* active = nullptr;

inline int recordingCallback(
    std::uint32_t operation, std::int64_t total, std::int64_t processed, KvxUtils::UserParameter* parameter)
{
    Report report { operation, total, processed, {}, 0 };
    if (parameter && parameter->fileName)
        report.fileName = parameter->fileName;
    if (parameter && operation == OpError)
        report.code = parameter->status.code();
    active->reports.push_back(report);
    return active->stopWhen && active->stopWhen(report) ? 0 : 1;
}

} // namespace package_tests
