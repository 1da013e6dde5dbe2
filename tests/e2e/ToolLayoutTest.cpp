// The layout of the built tool's code: the functions a run calls lie side by side, as
// src/tool/cvdiff.order lists them, so that a run maps few pages of code. The order is made from a
// gcc build (other compilers name their copies of functions otherwise) and read by lld.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

namespace {

// The tool's defined functions and their addresses, as nm lists them.
std::map<std::string, unsigned long> toolFunctions() {
    std::string command =
        "nm --defined-only '" CVDIFF_BINARY_DIR "/Corvane.app/Contents/MacOS/cvdiff'";
    std::map<std::string, unsigned long> functions;
    FILE* listing = popen(command.c_str(), "r");
    if (listing == nullptr) {
        return functions;
    }
    char line[4096];
    while (fgets(line, sizeof line, listing) != nullptr) {
        std::istringstream fields(line);
        std::string address;
        std::string type;
        std::string name;
        if (fields >> address >> type >> name && type.size() == 1 &&
            std::string("tTwW").find(type[0]) != std::string::npos) {
            functions.emplace(name, std::stoul(address, nullptr, 16));
        }
    }
    pclose(listing);
    return functions;
}

std::set<std::string> orderedNames() {
    std::ifstream order(CVDIFF_SOURCE_DIR "/src/tool/cvdiff.order");
    std::set<std::string> names;
    for (std::string line; std::getline(order, line);) {
        if (!line.empty() && line[0] != '#') {
            names.insert(line);
        }
    }
    return names;
}

}  // namespace

TEST(TheToolsCode, KeepsTheFunctionsARunCallsTogether) {
#ifndef CVDIFF_ORDERS_TOOL_FUNCTIONS
    GTEST_SKIP() << "this build links the tool without its function order";
#endif
    std::map<std::string, unsigned long> functions = toolFunctions();
    std::set<std::string> names = orderedNames();
    ASSERT_FALSE(functions.empty());
    ASSERT_FALSE(names.empty());
    unsigned long first = ~0UL;
    unsigned long last = 0;
    size_t found = 0;
    for (const std::string& name : names) {
        auto function = functions.find(name);
        if (function != functions.end()) {
            ++found;
            first = std::min(first, function->second);
            last = std::max(last, function->second);
        }
    }
    // An order that lost touch with the code would only make the tool slower, unseen.
    EXPECT_GE(found * 4, names.size() * 3)
        << found << " of " << names.size()
        << " ordered functions exist; scripts/order-tool-functions.sh makes a new order";
    unsigned long lowest = ~0UL;
    unsigned long highest = 0;
    for (const auto& [name, address] : functions) {
        lowest = std::min(lowest, address);
        highest = std::max(highest, address);
    }
    // Side by side: within a small part of the code (unordered, they spread over all of it).
    EXPECT_LT((last - first) * 2, highest - lowest);
}
