#pragma once

#include <optional>
#include <string>
#include <vector>

// A fresh folder under the temporary directory, removed with everything in it on destruction.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }
    // path() joined with a relative name.
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }
    // Writes a file (making its folders) and returns its path.
    std::string write(const std::string& name, const std::string& content) const;
    // Makes a folder (and its parents) and returns its path.
    std::string makeFolder(const std::string& name) const;

private:
    std::string path_;
};

// Writes <identifier>.desktop into <dataFolder>/applications: an application named Corvane
// started by the Exec value (an action of its own follows, whose Exec must not be taken for it).
void writeDesktopEntry(const std::string& dataFolder, const std::string& exec,
                       const std::string& identifier = "com.corvane.Corvane");
// Reads a whole file; "" when it cannot be read.
std::string readFile(const std::string& path);
// The names in a folder, sorted ("." and ".." left out); empty when it cannot be read.
std::vector<std::string> folderEntries(const std::string& path);
// Writes a file, making its folders.
void writeFile(const std::string& path, const std::string& content);

// Makes a bundle folder with Contents/Info.plist holding the keys that are given, and, when
// `program` is given, a copy of it as Contents/MacOS/<executableName>. Returns the bundle path.
std::string makeBundle(const std::string& bundlePath, const std::optional<std::string>& identifier,
                       const std::optional<std::string>& version,
                       const std::optional<std::string>& program = std::nullopt,
                       const std::string& executableName = "Corvane");
