// The tool inside an app sandbox: it reaches files only with a grant the application shares.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "CVTestBed.h"
#include "TemporaryFolder.h"
#include "platform/CVBookmark.h"

namespace {

const std::string kAskLine = "Please allow file access for cvdiff in Corvane.\n";
const std::string kAllowedLine = "File access allowed for \"/\"\n";
const std::string kDeniedLine = "File access was denied\n";
const std::string kSuite = "K7CV2T9QX4.com.corvane.sharedItems";
const std::string kSharedKey = "SharedAccessBookmark";
const std::string kOwnKey = "CVDiffResolvedAccessBookmark";

class TheSandboxedTool : public ::testing::Test {
protected:
    CVTestBed bed;

    void SetUp() override {
        writeFile(bed.workDirectory() + "/a", "a\n");
        writeFile(bed.workDirectory() + "/b", "b\n");
        bed.setEnvironment({{"APP_SANDBOX_CONTAINER_ID", "com.corvane.Corvane.cvdiff"}});
    }
};

TEST_F(TheSandboxedTool, AsksOnceAndKeepsTheGrantUntilReset) {
    CVCommandResult first = bed.runTool({"a", "b"});
    EXPECT_EQ(first.status, 0) << first.standardError;
    EXPECT_EQ(first.standardOutput, kAskLine + kAllowedLine);

    CVCommandResult second = bed.runTool({"a", "b"});
    EXPECT_EQ(second.status, 0) << second.standardError;
    EXPECT_EQ(second.standardOutput, "");

    EXPECT_EQ(bed.runTool({"--reset-file-access"}).status, 0);
    CVCommandResult afterReset = bed.runTool({"a", "b"});
    EXPECT_EQ(afterReset.standardOutput, kAskLine + kAllowedLine);
}

// What a key of the app group holds before a run.
enum class Grant {
    none,
    // A bookmark of the folder "granted".
    current,
    // A bookmark of "granted" that records another inode, as after the folder was replaced.
    stale,
    // A bookmark of a file removed since.
    vanished,
    // A bookmark of the folder "locked", which the user may not read.
    unreadable,
};

struct GrantCase {
    const char* name;
    Grant shared;
    Grant own;
    // Corvane refuses the request; the run then ends with status 1.
    bool refused;
    std::string output;
    // Afterwards: the shared key is still there; the path the tool's own grant names (empty when
    // there is none, "unchanged" when it is the data from before).
    bool sharedKept;
    std::string ownPath;
    // The sandbox step's debug log, a line feed after each line; {granted}, {gone}, {locked}
    // stand for those paths, {shared} and {own} for the bookmark data the run found.
    std::string log;
};

const std::string kNoOwnLine = "No bookmark stored for CVDiffResolvedAccessBookmark\n";
// How the log shows the error of a file that is gone.
const std::string kGoneError =
    "Error Domain=CVDiffErrorDomain Code=1 \"The file \"{gone}\" no longer exists.\" "
    "UserInfo={NSLocalizedDescription=The file \"{gone}\" no longer exists.}\n";
const std::string kLockedLine = "Could not start accessing {locked}\n";
const std::string kAskedAndDenied = kAskLine + kDeniedLine;

const GrantCase kGrantCases[] = {
    {"GrantedOnTheFirstTry", Grant::current, Grant::none, false, "", false, "{granted}",
     "Successfully imported the shared bookmark for {granted}\n"
     "File access allowed for \"{granted}\"\n"},
    {"GrantedAfterTheRequest", Grant::none, Grant::none, false, kAskLine + kAllowedLine, false, "/",
     kNoOwnLine + "Successfully imported the shared bookmark for /\n"},
    {"DeniedTwice", Grant::none, Grant::none, true, kAskedAndDenied, false, "",
     kNoOwnLine + kNoOwnLine},
    {"StaleOwnGrantRefreshedInPlace", Grant::none, Grant::stale, false, "", false, "{granted}",
     "File access allowed for \"{granted}\"\n"},
    {"OwnGrantThatNoLongerResolvesIsKept", Grant::none, Grant::vanished, true, kAskedAndDenied,
     false, "unchanged",
     "Could not get url for {own}. " + kGoneError + "Could not get url for {own}. " + kGoneError},
    {"ImportedGrantThatDoesNotResolveStillRemovesTheSharedOne", Grant::unreadable, Grant::none,
     true, kAskedAndDenied, false, "{locked}", kLockedLine + kLockedLine + kLockedLine},
    {"SharedGrantThatDoesNotResolveIsLeft", Grant::vanished, Grant::none, true, kAskedAndDenied,
     true, "",
     "Could not get the url for {shared} data. " + kGoneError + kNoOwnLine +
         "Could not get the url for {shared} data. " + kGoneError + kNoOwnLine},
};

void PrintTo(const GrantCase& grantCase, std::ostream* stream) {
    *stream << grantCase.name;
}

std::string hexOf(const std::vector<uint8_t>& data) {
    std::string text;
    char byte[3];
    for (uint8_t value : data) {
        snprintf(byte, sizeof byte, "%02x", value);
        text += byte;
    }
    return text;
}

// Data as the debug log shows it: "<4356424b 0102...>", a space after every fourth byte.
std::string loggedData(const std::string& hex) {
    std::string text = "<";
    for (size_t index = 0; index < hex.size(); index += 2) {
        if (index > 0 && index % 8 == 0) {
            text += ' ';
        }
        text += hex.substr(index, 2);
    }
    return text + ">";
}

// The lines of the debug log that the sandbox step writes, without their time and process.
std::string sandboxLog(const std::string& standardError) {
    std::string log;
    std::istringstream stream(standardError);
    for (std::string line; std::getline(stream, line);) {
        std::string message = line.substr(line.find("] ") + 2);
        for (const char* start :
             {"No bookmark", "Could not get", "Could not create bookmark",
              "Could not start accessing", "Successfully imported", "File access allowed"}) {
            if (message.starts_with(start)) {
                log += message + "\n";
            }
        }
    }
    return log;
}

class TheSandboxStep : public TheSandboxedTool, public ::testing::WithParamInterface<GrantCase> {
protected:
    std::map<std::string, std::string> names;

    void SetUp() override {
        TheSandboxedTool::SetUp();
        for (const char* name : {"granted", "gone", "locked"}) {
            names[std::string("{") + name + "}"] = bed.workDirectory() + "/" + name;
        }
        std::filesystem::create_directory(names["{granted}"]);
        std::filesystem::create_directory(names["{locked}"]);
        chmod(names["{locked}"].c_str(), 0);
        bed.runDefaults({"write", "com.corvane.Corvane.cvdiff", "debug-logging", "-bool", "YES"});
    }

    void TearDown() override { chmod(names["{locked}"].c_str(), 0700); }

    // The text with each {name} replaced.
    std::string expand(std::string text) {
        for (const auto& [name, value] : names) {
            for (size_t at = text.find(name); at != std::string::npos; at = text.find(name, at)) {
                text.replace(at, name.size(), value);
            }
        }
        return text;
    }

    // The bookmark data (hexadecimal) of the grant, written under the key.
    std::string store(Grant grant, bool securityScoped, const std::string& key) {
        const unsigned options =
            securityScoped ? CVBookmark::withSecurityScope : CVBookmark::minimalBookmark;
        std::optional<std::vector<uint8_t>> data;
        if (grant == Grant::current) {
            data = CVBookmark::create(names["{granted}"], options);
        } else if (grant == Grant::unreadable) {
            data = CVBookmark::create(names["{locked}"], options);
        } else if (grant == Grant::vanished) {
            writeFile(names["{gone}"], "");
            data = CVBookmark::create(names["{gone}"], options);
            std::filesystem::remove(names["{gone}"]);
        } else if (grant == Grant::stale) {
            struct stat status {};
            stat(names["{granted}"].c_str(), &status);
            data = CVBookmark::serialize(CVBookmark::Contents{
                securityScoped, names["{granted}"], status.st_dev, status.st_ino + 1, {}, {}});
        } else {
            return "";
        }
        EXPECT_TRUE(data.has_value());
        std::string hex = hexOf(*data);
        bed.runDefaults({"write", kSuite, key, "-data", hex});
        return hex;
    }

    // The data under the key ("" when there is none), in hexadecimal.
    std::string stored(const std::string& key) {
        CVCommandResult read = bed.runDefaults({"read", kSuite, key});
        if (read.status != 0) {
            return "";
        }
        return read.standardOutput.substr(1, read.standardOutput.size() - 3);
    }

    // The tool, with the diff of a and b, as a user who cannot read every file runs it: root
    // gives up the powers that pass over file permissions.
    CVCommandResult runTool() {
        std::vector<std::string> command{bed.toolPath(), "a", "b"};
        if (geteuid() == 0) {
            command.insert(command.begin(),
                           {"setpriv", "--bounding-set", "-dac_override,-dac_read_search"});
        }
        return bed.run(command);
    }
};

TEST_P(TheSandboxStep, ImportsResolvesAndAsksAsTheGrantsInTheAppGroupSay) {
    const GrantCase& grantCase = GetParam();
    names["{shared}"] = loggedData(store(grantCase.shared, false, kSharedKey));
    const std::string ownBefore = store(grantCase.own, true, kOwnKey);
    names["{own}"] = loggedData(ownBefore);
    if (grantCase.refused) {
        bed.setEnvironment({{"CORVANE_REFUSE_FILE_ACCESS", "1"}});
    }

    CVCommandResult result = runTool();
    EXPECT_EQ(result.status, grantCase.refused ? 1 : 0) << result.standardError;
    EXPECT_EQ(result.standardOutput, grantCase.output);
    EXPECT_EQ(sandboxLog(result.standardError), expand(grantCase.log)) << result.standardError;

    EXPECT_EQ(stored(kSharedKey).empty(), !grantCase.sharedKept);
    const std::string ownAfter = stored(kOwnKey);
    if (grantCase.ownPath == "unchanged") {
        EXPECT_EQ(ownAfter, ownBefore);
    } else if (grantCase.ownPath.empty()) {
        EXPECT_EQ(ownAfter, "");
    } else {
        std::vector<uint8_t> bytes;
        for (size_t index = 0; index + 1 < ownAfter.size(); index += 2) {
            bytes.push_back(
                static_cast<uint8_t>(std::stoul(ownAfter.substr(index, 2), nullptr, 16)));
        }
        std::optional<CVBookmark::Contents> contents = CVBookmark::parse(bytes);
        ASSERT_TRUE(contents.has_value()) << ownAfter;
        const std::string path = expand(grantCase.ownPath);
        struct stat status {};
        stat(path.c_str(), &status);
        EXPECT_EQ(contents->path, path);
        EXPECT_TRUE(contents->securityScoped);
        // A stale grant is rewritten: it names the folder that is there now.
        EXPECT_EQ(contents->inode, status.st_ino);
    }
}

INSTANTIATE_TEST_SUITE_P(Grants, TheSandboxStep, ::testing::ValuesIn(kGrantCases),
                         [](const auto& grant) { return std::string(grant.param.name); });

}  // namespace
