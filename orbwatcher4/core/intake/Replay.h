// Takes in what the last run has left in its dump.
//
// The dump is kept until a selection has been read, because paths are judged by its rules. One thread at a time.
#pragma once

#include "orbwatcher4/core/intake/ChangeHandler.h"
#include "orbwatcher4/core/pending/Dump.h"

#include <atomic>

class Replay
{
public:
    // All must outlive the object.
    Replay(const IntakeParts& parts, ChangeHandler& handler, Dump& dump) : m(parts), m_handler(handler), m_dump(dump) {}

    // Replays the dump with the rights of the user. If that fails, the dump stays.
    void Start();
    // Replays a dump that Start had to leave, once a selection is loaded.
    void StartWaiting();

private:
    void TakeDump();
    void TakeLine(const CString& line);
    void TakeRemoval(const CString& path);
    void KeepUnreachable(const CString& line);

    const IntakeParts m;
    ChangeHandler& m_handler;
    Dump& m_dump;
    std::atomic<bool> m_waits{false}; // Start had to leave the dump
};
