// A reader/writer lock. Many readers at once, or one writer; neither may be
// entered again by a thread that is inside. An object may be copied as raw bytes
// while nobody is inside it; the copy is a free lock of its own.
//
// In the lock order it is a leaf: nobody asks for another lock inside it, but the log's.
#pragma once

#ifdef READERSWRITERS_EXPORTS
#define READERSWRITERS_API __declspec(dllexport)
#else
#define READERSWRITERS_API __declspec(dllimport)
#endif

class READERSWRITERS_API ReadersWriters
{
public:
    ReadersWriters() = default;

    void StartRead();
    void EndRead();
    void StartWrite();
    void EndWrite();

private:
    void* m_state = nullptr; // an SRWLOCK, which is one pointer and zero when free
};

// Reads for as long as it lives.
class ReadScope
{
public:
    explicit ReadScope(ReadersWriters& lock) : m_lock(lock) { m_lock.StartRead(); }
    ~ReadScope() { m_lock.EndRead(); }
    ReadScope(const ReadScope&) = delete;
    ReadScope& operator=(const ReadScope&) = delete;

private:
    ReadersWriters& m_lock;
};

// Writes for as long as it lives.
class WriteScope
{
public:
    explicit WriteScope(ReadersWriters& lock) : m_lock(lock) { m_lock.StartWrite(); }
    ~WriteScope() { m_lock.EndWrite(); }
    WriteScope(const WriteScope&) = delete;
    WriteScope& operator=(const WriteScope&) = delete;

private:
    ReadersWriters& m_lock;
};
