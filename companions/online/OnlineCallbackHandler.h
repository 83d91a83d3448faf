/// @file
/// What the online mode tells the watcher: which files were uploaded a moment ago,
/// and where a transaction is to be written for upload.
///
/// Every operation may be called from any thread; the table has a lock of its own.
#pragma once

#include "mfc/CString.h"

#include <cstdint>

#ifdef ONLINEHANDLER_EXPORTS
#define ONLINEHANDLER_API __declspec(dllexport)
#else
#define ONLINEHANDLER_API __declspec(dllimport)
#endif

/// The table of uploaded files and the outbox. Any thread.
class ONLINEHANDLER_API OnlineCallbackHandler
{
public:
    /// An empty table.
    OnlineCallbackHandler();
    /// Nothing in the outbox goes with it.
    ~OnlineCallbackHandler();
    OnlineCallbackHandler(const OnlineCallbackHandler&) = delete;
    OnlineCallbackHandler& operator=(const OnlineCallbackHandler&) = delete;

    /// The uploaded files: path to the modification time (FILETIME, 100-ns units) that the uploaded content had. They
    /// are told apart by their paths, without regard to case: of keys anybody can make another name.
    void AddUploaded(const wchar_t* path, std::uint64_t modificationTime);
    /// The file counts as not uploaded.
    void RemoveUploaded(const wchar_t* path);
    /// No file counts as uploaded.
    void ClearUploaded();
    /// False, with the time untouched, when the file was not uploaded.
    bool FindUploaded(const wchar_t* path, std::uint64_t& modificationTime) const;

    /// The path for the next transaction, in the outbox below the data folder (created when missing).
    /// `number` receives the transaction's number, counted up over restarts; `peek` leaves the count as it
    /// is; `reserve` creates the file empty so that nobody else gets the same path. Empty on failure.
    CString GetTransactionXml(int& number, bool peek, bool reserve);

private:
    struct State;
    State* m_state;
};
