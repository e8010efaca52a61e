#pragma once

#include "kelda/KStatus.h"

#include <string>
#include <utility>

namespace kelda
{

/// What became of a kernel operation: a code for programs and, on failure, a sentence for people (no full
/// stop).
struct Outcome {
    KStatus::KStatusCode code = KStatus::kSuccess;
    std::string text;

    Outcome() = default;
    Outcome(KStatus::KStatusCode failure, std::string sentence) : code(failure), text(std::move(sentence)) {}

    explicit operator bool() const { return code == KStatus::kSuccess; }
};

} // namespace kelda
