// The exit codes of orbwatch.
#pragma once

enum ExitCode : int {
    ExitDone = 0,
    ExitFailure = 1,
    ExitUsage = 2,          // wrong usage or unreadable input
    ExitSomeUnreadable = 3, // done, but some selected files could not be read, or a crash would have gone unnoticed; of
                            // the doctor: warnings only
    ExitTimeLimit = 4,      // --timeout
    ExitInterrupted = 130,  // Ctrl-C
};
