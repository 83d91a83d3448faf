// The folder where transactions wait for upload, and their numbers.
//
// A number is given once, also when several processes ask and over restarts:
// the next one is kept in the file "next", and a named mutex of the installation
// lets one ask at a time. Any thread.
#pragma once

#include "mfc/CString.h"

#include <utility>

class Outbox
{
public:
    explicit Outbox(CString folder) : m_folder(std::move(folder)) {}

    // The path of the next transaction; empty on failure, which is logged. See
    // OnlineCallbackHandler::GetTransactionXml.
    CString Next(int& number, bool peek, bool reserve) const;

private:
    CString PathOf(int number) const;
    int ReadNext() const;
    int HighestUsed() const;
    bool WriteNext(int number) const;

    CString m_folder;
};
