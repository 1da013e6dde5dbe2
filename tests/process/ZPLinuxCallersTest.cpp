#include "process/ZPLinuxCallers.h"

#include <gtest/gtest.h>

#include "TemporaryFolder.h"

using ZPLinuxCallers::isGitKrakenProgramPath;
using ZPLinuxCallers::isJetBrainsProgramPath;

TEST(AJetBrainsProgramPath, IsALauncherInABinFolderOrAnyProgramOfAnInstallationOnly) {
    TemporaryFolder folder;
    // Shaped like a tarball install unpacked under a name that says nothing about JetBrains: its
    // product information marks it.
    std::string install = folder.makeFolder("apps/some-ide-2024.3");
    folder.write("apps/some-ide-2024.3/product-info.json",
                 R"({"name": "PyCharm", "productCode": "PC", "buildNumber": "243.1"})");
    folder.makeFolder("apps/some-ide-2024.3/jbr/bin");
    std::string unmarked = folder.makeFolder("apps/other-2024.3/jbr/bin");
    folder.write("apps/other-2024.3/product-info.json", R"({"name": "Other"})");
    for (const std::string& path : std::vector<std::string>{
             "/opt/pycharm-2024.1/bin/pycharm.sh", "/opt/clion/bin/clion",
             "/snap/intellij-idea-ultimate/501/bin/idea.sh", "/usr/local/goland/bin/goland64",
             "bin/webstorm", "/home/me/.local/share/JetBrains/Toolbox/apps/rider/jbr/bin/java",
             "/opt/jetbrains-toolbox/jetbrains-toolbox", "/opt/idea-IU-241.14494.240/jbr/bin/java",
             "/home/me/idea-IC-233.1/lib/launcher", install + "/jbr/bin/java",
             install + "/bin/pycharm", install + "/bin/fsnotifier"}) {
        EXPECT_TRUE(isJetBrainsProgramPath(path)) << path;
    }
    // A product name outside a bin folder, or another Java.
    for (const std::string& path : std::vector<std::string>{
             "/home/me/projects/idea", "idea", "/usr/bin/ideas",
             "/usr/lib/jvm/java-17-openjdk-amd64/bin/java", "/opt/jetbrains/bin/java", "",
             unmarked + "/java", install + "/lib/java", install + "/java"}) {
        EXPECT_FALSE(isJetBrainsProgramPath(path)) << path;
    }
}

TEST(AGitKrakenProgramPath, IsThePackagedProgramOrASnapOrFlatpakThatNamesItOnly) {
    for (const char* path :
         {"/usr/share/gitkraken/gitkraken", "/opt/gitkraken/gitkraken",
          "/snap/gitkraken/245/usr/share/gitkraken/gitkraken-bin",
          "/app/extra/gitkraken/gitkraken-app",
          "/var/lib/flatpak/app/com.axosoft.GitKraken/current/active/files/extra/gk"}) {
        EXPECT_TRUE(isGitKrakenProgramPath(path)) << path;
    }
    // Another program that mentions it.
    for (const char* path :
         {"/usr/bin/gitkraken", "/home/me/bin/gitkraken-cli", "/snap/code/12/usr/bin/code"}) {
        EXPECT_FALSE(isGitKrakenProgramPath(path)) << path;
    }
}
