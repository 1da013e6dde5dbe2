#include "TemporaryFolder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

TemporaryFolder::TemporaryFolder() {
    const char* base = getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/cvdiff-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    // The real path, so that tests can compare it with paths the kernel reports.
    path_ = std::filesystem::canonical(pattern).string();
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& content) const {
    writeFile(*this / name, content);
    return *this / name;
}

std::string TemporaryFolder::makeFolder(const std::string& name) const {
    std::string path = *this / name;
    std::filesystem::create_directories(path);
    return path;
}

std::string readFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

std::vector<std::string> folderEntries(const std::string& path) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(path, error)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

void writeFile(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

std::string makeBundle(const std::string& bundlePath, const std::optional<std::string>& identifier,
                       const std::optional<std::string>& version,
                       const std::optional<std::string>& program,
                       const std::string& executableName) {
    namespace fs = std::filesystem;
    fs::create_directories(bundlePath + "/Contents/MacOS");
    std::string plist =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
        "<key>CFBundleExecutable</key><string>" +
        executableName + "</string>\n";
    if (identifier) {
        plist += "<key>CFBundleIdentifier</key><string>" + *identifier + "</string>\n";
    }
    if (version) {
        plist += "<key>CVDiffBundleVersion</key><string>" + *version + "</string>\n";
    }
    writeFile(bundlePath + "/Contents/Info.plist", plist + "</dict>\n</plist>\n");
    if (program) {
        fs::copy_file(*program, bundlePath + "/Contents/MacOS/" + executableName,
                      fs::copy_options::overwrite_existing);
    }
    return bundlePath;
}

void writeDesktopEntry(const std::string& dataFolder, const std::string& exec,
                       const std::string& identifier) {
    writeFile(dataFolder + "/applications/" + identifier + ".desktop",
              "[Desktop Entry]\nType=Application\nName=Corvane\nExec=" + exec +
                  "\n\n[Desktop Action New]\nExec=/bin/false\n");
}
