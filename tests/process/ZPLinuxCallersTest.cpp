#include "process/ZPLinuxCallers.h"

#include <gtest/gtest.h>

using ZPLinuxCallers::isGitKrakenProgramPath;
using ZPLinuxCallers::isJetBrainsProgramPath;

TEST(AJetBrainsProgramPath, IsALauncherInABinFolder) {
    EXPECT_TRUE(isJetBrainsProgramPath("/opt/pycharm-2024.1/bin/pycharm.sh"));
    EXPECT_TRUE(isJetBrainsProgramPath("/opt/clion/bin/clion"));
    EXPECT_TRUE(isJetBrainsProgramPath("/snap/intellij-idea-ultimate/501/bin/idea.sh"));
    EXPECT_TRUE(isJetBrainsProgramPath("/usr/local/goland/bin/goland64"));
    EXPECT_TRUE(isJetBrainsProgramPath("bin/webstorm"));
}

TEST(AJetBrainsProgramPath, IsAnyProgramInAJetBrainsInstallFolder) {
    EXPECT_TRUE(
        isJetBrainsProgramPath("/home/me/.local/share/JetBrains/Toolbox/apps/rider/jbr/bin/java"));
    EXPECT_TRUE(isJetBrainsProgramPath("/opt/jetbrains-toolbox/jetbrains-toolbox"));
    EXPECT_TRUE(isJetBrainsProgramPath("/opt/idea-IU-241.14494.240/jbr/bin/java"));
    EXPECT_TRUE(isJetBrainsProgramPath("/home/me/idea-IC-233.1/lib/launcher"));
}

TEST(AJetBrainsProgramPath, IsNotAProductNameOutsideABinFolderOrAnotherJava) {
    EXPECT_FALSE(isJetBrainsProgramPath("/home/me/projects/idea"));
    EXPECT_FALSE(isJetBrainsProgramPath("idea"));
    EXPECT_FALSE(isJetBrainsProgramPath("/usr/bin/ideas"));
    EXPECT_FALSE(isJetBrainsProgramPath("/usr/lib/jvm/java-17-openjdk-amd64/bin/java"));
    EXPECT_FALSE(isJetBrainsProgramPath("/opt/jetbrains/bin/java"));
    EXPECT_FALSE(isJetBrainsProgramPath(""));
}

TEST(AGitKrakenProgramPath, IsThePackagedProgram) {
    EXPECT_TRUE(isGitKrakenProgramPath("/usr/share/gitkraken/gitkraken"));
    EXPECT_TRUE(isGitKrakenProgramPath("/opt/gitkraken/gitkraken"));
}

TEST(AGitKrakenProgramPath, IsASnapOrFlatpakThatNamesIt) {
    EXPECT_TRUE(isGitKrakenProgramPath("/snap/gitkraken/245/usr/share/gitkraken/gitkraken-bin"));
    EXPECT_TRUE(isGitKrakenProgramPath("/app/extra/gitkraken/gitkraken-app"));
    EXPECT_TRUE(isGitKrakenProgramPath(
        "/var/lib/flatpak/app/com.axosoft.GitKraken/current/active/files/extra/gk"));
}

TEST(AGitKrakenProgramPath, IsNotAnotherProgramThatMentionsIt) {
    EXPECT_FALSE(isGitKrakenProgramPath("/usr/bin/gitkraken"));
    EXPECT_FALSE(isGitKrakenProgramPath("/home/me/bin/gitkraken-cli"));
    EXPECT_FALSE(isGitKrakenProgramPath("/snap/code/12/usr/bin/code"));
}
