// The debug log of the grant operations in the cases no run of the tool reaches: the tool never
// hands missing data to the resolver, and makes a grant only of a path its resolver just found.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <functional>
#include <optional>
#include <string>

#include "TemporaryFolder.h"
#include "access/CORSecurityScopedBookmarks.h"
#include "platform/CVUserDefaults.h"

namespace {

class TheGrantOperations : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        static TemporaryFolder configuration;
        setenv("XDG_CONFIG_HOME", configuration.path().c_str(), 1);
        CVUserDefaults::standardUserDefaults().setBool(true, "debug-logging");
    }

    // The messages the operation logged, without their time and process.
    static std::string logOf(const std::function<void()>& operation) {
        testing::internal::CaptureStderr();
        operation();
        std::string text = testing::internal::GetCapturedStderr();
        size_t start = text.find("] ");
        return start == std::string::npos ? text : text.substr(start + 2);
    }
};

TEST_F(TheGrantOperations, LogWhatTheyCouldNotDo) {
    using CORSecurityScopedBookmarks::createSecurityScopeBookmarkData;
    using CORSecurityScopedBookmarks::resolveSecurityScopeBookmarkData;
    std::optional<CORSecurityScopedBookmarks::Data> none;
    const std::string reason =
        "Cannot make a bookmark of \"/no/such/file\": No such file or directory";
    // Each answers whether it gave nothing back.
    const std::pair<std::function<bool()>, std::string> cases[] = {
        {[] { return !resolveSecurityScopeBookmarkData(nullptr); }, ""},
        {[&] { return !resolveSecurityScopeBookmarkData(&none); }, "No bookmark data.\n"},
        {[] { return !createSecurityScopeBookmarkData("/no/such/file"); },
         "Could not create bookmark data for /no/such/file. Error Domain=CVDiffErrorDomain "
         "Code=1 \"" +
             reason + "\" UserInfo={NSLocalizedDescription=" + reason + "}\n"},
    };
    for (const auto& [operation, log] : cases) {
        EXPECT_EQ(logOf([&] { EXPECT_TRUE(operation()) << "gave something back"; }), log);
    }
}

}  // namespace
