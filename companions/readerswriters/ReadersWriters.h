/// @file
/// A reader/writer lock: many readers at once, or one writer. A thread that is inside must not enter it again. An
/// object may be copied as raw bytes while no thread is inside; the copy is a free lock of its own.
///
/// In the lock order it is a leaf: a thread inside asks for no other lock except the log's.
#pragma once

#ifdef READERSWRITERS_EXPORTS
#define READERSWRITERS_API __declspec(dllexport)
#else
#define READERSWRITERS_API __declspec(dllimport)
#endif

/// The lock. Any thread; the thread that entered must also leave it.
class READERSWRITERS_API ReadersWriters
{
public:
    ReadersWriters() = default;

    /// Enters as a reader; waits until no writer is inside.
    void StartRead();
    /// Leaves as a reader. Call it on the thread that called StartRead.
    void EndRead();
    /// Enters as the writer; waits until no thread is inside.
    void StartWrite();
    /// Leaves as the writer.
    void EndWrite();

private:
    void* m_state = nullptr; // an SRWLOCK, which is one pointer and zero when free
};

/// Holds the lock as a reader for as long as it lives.
class ReadScope
{
public:
    /// Enters the lock, which must outlive the object.
    explicit ReadScope(ReadersWriters& lock) : m_lock(lock) { m_lock.StartRead(); }
    /// Leaves the lock.
    ~ReadScope() { m_lock.EndRead(); }
    ReadScope(const ReadScope&) = delete;
    ReadScope& operator=(const ReadScope&) = delete;

private:
    ReadersWriters& m_lock;
};

/// Holds the lock as the writer for as long as it lives.
class WriteScope
{
public:
    /// Enters the lock, which must outlive the object.
    explicit WriteScope(ReadersWriters& lock) : m_lock(lock) { m_lock.StartWrite(); }
    /// Leaves the lock.
    ~WriteScope() { m_lock.EndWrite(); }
    WriteScope(const WriteScope&) = delete;
    WriteScope& operator=(const WriteScope&) = delete;

private:
    ReadersWriters& m_lock;
};
