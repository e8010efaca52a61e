#include "OptionText.h"

namespace zyscene
{

void addWord(std::string& text, const std::string& word)
{
    if (!text.empty())
        text += ';';
    text += word;
}

std::string unitBehind(const std::string& text, const std::string& word, bool& found)
{
    const std::string::size_type key = text.find(word);
    found = key != std::string::npos;
    if (!found)
        return {};
    std::string::size_type end = key + word.size();
    while (end < text.size() &&
           ((text[end] >= 'a' && text[end] <= 'z') || (text[end] >= 'A' && text[end] <= 'Z')))
        ++end;
    return text.substr(key + word.size(), end - key - word.size());
}

} // namespace zyscene
