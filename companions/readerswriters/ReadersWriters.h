/// @file
/// A reader/writer lock. Many readers at once, or one writer; neither may be
/// entered again by a thread that is inside. An object may be copied as raw bytes
/// while nobody is inside it; the copy is a free lock of its own.
///
/// In the lock order it is a leaf: nobody asks for another lock inside it, but the log's.
#pragma once

#ifdef READERSWRITERS_EXPORTS
#define READERSWRITERS_API __declspec(dllexport)
#else
#define READERSWRITERS_API __declspec(dllimport)
#endif

/// The lock. Any thread; who has entered leaves it on the same thread.
class READERSWRITERS_API ReadersWriters
{
public:
    ReadersWriters() = default;

    /// Waits until no writer is inside.
    void StartRead();
    /// Ends a reading that this thread has begun.
    void EndRead();
    /// Waits until nobody is inside.
    void StartWrite();
    /// Ends the writing.
    void EndWrite();

private:
    void* m_state = nullptr; // an SRWLOCK, which is one pointer and zero when free
};

/// Reads for as long as it lives.
class ReadScope
{
public:
    /// The lock must outlive it.
    explicit ReadScope(ReadersWriters& lock) : m_lock(lock) { m_lock.StartRead(); }
    /// Ends the reading.
    ~ReadScope() { m_lock.EndRead(); }
    ReadScope(const ReadScope&) = delete;
    ReadScope& operator=(const ReadScope&) = delete;

private:
    ReadersWriters& m_lock;
};

/// Writes for as long as it lives.
class WriteScope
{
public:
    /// The lock must outlive it.
    explicit WriteScope(ReadersWriters& lock) : m_lock(lock) { m_lock.StartWrite(); }
    /// Ends the writing.
    ~WriteScope() { m_lock.EndWrite(); }
    WriteScope(const WriteScope&) = delete;
    WriteScope& operator=(const WriteScope&) = delete;

private:
    ReadersWriters& m_lock;
};
