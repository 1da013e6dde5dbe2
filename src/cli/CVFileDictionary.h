#pragma once

#include <optional>
#include <string>
#include <vector>

// One file operand as the parser, the adapters and the capture hand it to the interpreter.
struct CVFileDictionary {
    // The operand as typed, a rewritten path, or "/dev/null" for the absent side of a pair.
    std::string path;
    // Present when a snapshot option followed the operand.
    std::optional<bool> isTemporary;
    // True for copies the tool made itself and removes at the end of the run.
    std::optional<bool> deleteOnExit;

    bool operator==(const CVFileDictionary&) const = default;
};

// One changeset item: the left and right file, and the item's own relative path when it had one.
struct CVFileListDictionary {
    std::vector<CVFileDictionary> files;
    std::optional<std::string> relativePath;

    bool operator==(const CVFileListDictionary&) const = default;
};
