/// @file
/// The data that the online mode gives to the watcher: the files that were uploaded a moment ago, and the paths of
/// transactions for upload.
///
/// Any thread may call every operation; the table has a lock of its own.
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
    /// Makes an object with an empty table.
    OnlineCallbackHandler();
    /// Leaves the files in the outbox as they are.
    ~OnlineCallbackHandler();
    OnlineCallbackHandler(const OnlineCallbackHandler&) = delete;
    OnlineCallbackHandler& operator=(const OnlineCallbackHandler&) = delete;

    /// Adds an uploaded file. The modification time is that of the uploaded content (FILETIME, 100-ns units). The table
    /// compares paths, without regard to case, and not keys: any user can make another name with the same key.
    void AddUploaded(const wchar_t* path, std::uint64_t modificationTime);
    /// Removes the file: it counts as not uploaded.
    void RemoveUploaded(const wchar_t* path);
    /// Removes all files from the table.
    void ClearUploaded();
    /// Reads the time of an uploaded file. Returns false, with the time untouched, when the file was not uploaded.
    bool FindUploaded(const wchar_t* path, std::uint64_t& modificationTime) const;

    /// Returns the path for the next transaction, in the outbox below the data folder (created when missing). `number`
    /// receives the transaction's number, which counts up over restarts. `peek` leaves the count as it is. `reserve`
    /// creates the file empty, so that no other caller gets the same path. Empty on failure.
    CString GetTransactionXml(int& number, bool peek, bool reserve);

private:
    struct State;
    State* m_state;
};
