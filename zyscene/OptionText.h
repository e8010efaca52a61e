#pragma once

#include <string>

namespace zyscene
{

/// Appends a word to the option text of the module. The separator ends the name of a unit, which is a run of
/// letters.
void addWord(std::string& text, const std::string& word);

/// The name of a unit as the module reads it: the letters behind the first occurrence of the word, which may
/// be none. `found` tells whether the word occurs at all.
std::string unitBehind(const std::string& text, const std::string& word, bool& found);

} // namespace zyscene
