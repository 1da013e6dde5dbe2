#include "platform/CVJournalStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <cerrno>

bool CVDescriptorGoesNowhere(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        return errno == EBADF;
    }
    return S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3);
}

bool CVSendUnseenOutputToJournal(const char* identifier) {
    if (!CVDescriptorGoesNowhere(STDERR_FILENO)) {
        return false;
    }
    int journal = sd_journal_stream_fd(identifier, LOG_INFO, 0);
    if (journal < 0) {
        return false;
    }
    bool connected = dup2(journal, STDERR_FILENO) == STDERR_FILENO;
    if (connected && CVDescriptorGoesNowhere(STDOUT_FILENO)) {
        dup2(journal, STDOUT_FILENO);
    }
    if (journal > STDERR_FILENO) {
        close(journal);
    }
    return connected;
}
