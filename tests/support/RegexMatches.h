#pragma once

#include <regex>
#include <string>
#include <vector>

// The first capture group of every match of the pattern in the text, in order.
inline std::vector<std::string> regexMatches(const std::string& text, const std::string& pattern) {
    std::vector<std::string> found;
    std::regex expression(pattern);
    for (auto it = std::sregex_iterator(text.begin(), text.end(), expression);
         it != std::sregex_iterator(); ++it) {
        found.push_back((*it)[1].str());
    }
    return found;
}
