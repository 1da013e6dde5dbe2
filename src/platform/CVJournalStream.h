#pragma once

// Diagnostics a person can find: a program started by another with its standard streams on
// /dev/null (as cvdiff starts Corvane) writes them to the systemd journal instead.

// Whether what is written to the descriptor goes nowhere: it is /dev/null, or not open.
bool CVDescriptorGoesNowhere(int descriptor);

// When standard error goes nowhere, connects it (and standard output, when that goes nowhere
// too) to the journal under the identifier, each line at the informational level. A terminal, a
// file or a pipe is left as it is; without a journal (no systemd) nothing changes. True when the
// streams now go to the journal.
bool CVSendUnseenOutputToJournal(const char* identifier);
