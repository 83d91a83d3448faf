// The folder where transactions wait for upload, and their numbers.
//
// Each number is used once, also when several processes ask, and after restarts: the file "next" keeps the next number,
// and a named mutex of the installation lets one process at a time ask. Any thread.
#pragma once

#include "mfc/CString.h"

#include <utility>

class Outbox
{
public:
    explicit Outbox(CString folder) : m_folder(std::move(folder)) {}

    // Returns the path of the next transaction; empty on failure, which is logged. See
    // OnlineCallbackHandler::GetTransactionXml.
    CString Next(int& number, bool peek, bool reserve) const;

private:
    CString PathOf(int number) const;
    int ReadNext() const;
    int HighestUsed() const;
    bool WriteNext(int number) const;

    CString m_folder;
};
