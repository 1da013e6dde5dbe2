// Which output goes nowhere, and that sending it to the journal never loses a stream.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/CVJournalStream.h"

namespace {

TEST(UnseenOutput, IsTheNullDeviceOrAClosedDescriptorAndNothingElse) {
    int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    int zero = open("/dev/zero", O_RDONLY | O_CLOEXEC);
    EXPECT_TRUE(CVDescriptorGoesNowhere(null));
    EXPECT_FALSE(CVDescriptorGoesNowhere(ends[1]));
    EXPECT_FALSE(CVDescriptorGoesNowhere(zero));
    close(null);
    close(ends[0]);
    close(ends[1]);
    close(zero);
    EXPECT_TRUE(CVDescriptorGoesNowhere(null));
}

TEST(UnseenOutput, GoesToTheJournalOrStaysWhereItWasButIsNeverClosed) {
    // A child with standard error on /dev/null: afterwards it is the journal's stream when there
    // is a journal, else still /dev/null; either way it stays open.
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int null = open("/dev/null", O_WRONLY);
        dup2(null, STDERR_FILENO);
        bool sent = CVSendUnseenOutputToJournal("cvdiff-test");
        bool open = fcntl(STDERR_FILENO, F_GETFD) != -1;
        bool nowhere = CVDescriptorGoesNowhere(STDERR_FILENO);
        _exit(open && sent != nowhere ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 0);

    // A pipe is somewhere a person (or a caller) reads: it is left alone.
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    int saved = dup(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
    EXPECT_FALSE(CVSendUnseenOutputToJournal("cvdiff-test"));
    dup2(saved, STDERR_FILENO);
    close(saved);
    close(ends[0]);
    close(ends[1]);
}

}  // namespace
