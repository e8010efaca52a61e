#pragma once

#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace zyscene::render
{

/// What a picture leaves out, for people: each thing once.
class Notices
{
public:
    void add(std::string text)
    {
        if (_known.insert(text).second)
            _texts.push_back(std::move(text));
    }
    /// In the order in which it was met.
    const std::vector<std::string>& texts() const { return _texts; }

private:
    std::unordered_set<std::string> _known;
    std::vector<std::string> _texts;
};

} // namespace zyscene::render
