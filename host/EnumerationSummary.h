// The result of an enumeration. Any thread.
#pragma once

#include "orbwatcher4/EnumerationProgress.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>

struct EnumerationSummary {
    EnumerationProgress progress;
    std::uint64_t unreadable = 0; // files, folders and links
    std::uint64_t deleted = 0;    // delete records
    std::uint64_t handedOut = 0;
    std::int64_t pending = 0; // kept for the next start
    int exitCode = 0;

    nlohmann::ordered_json Fields() const;
    // Returns lines for people.
    std::string Lines() const;
};
