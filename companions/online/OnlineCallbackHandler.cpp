#include "companions/online/OnlineCallbackHandler.h"

#include "companions/online/Outbox.h"
#include "companions/settings/OrbSettings.h"
#include "support/NoCaseKeys.h"
#include "support/RankedSection.h"

#include <map>

struct OnlineCallbackHandler::State {
    RankedSection section{LockRank::Leaf, L"online table"};
    std::map<CString, std::uint64_t, NoCase::Before> uploaded; // path to modification time; guarded by the section
};

OnlineCallbackHandler::OnlineCallbackHandler() : m_state(new State) {}
OnlineCallbackHandler::~OnlineCallbackHandler() { delete m_state; }

void OnlineCallbackHandler::AddUploaded(const wchar_t* path, std::uint64_t modificationTime)
{
    const CSingleLock lock(m_state->section);
    m_state->uploaded[path] = modificationTime;
}

void OnlineCallbackHandler::RemoveUploaded(const wchar_t* path)
{
    const CSingleLock lock(m_state->section);
    m_state->uploaded.erase(path);
}

void OnlineCallbackHandler::ClearUploaded()
{
    const CSingleLock lock(m_state->section);
    m_state->uploaded.clear();
}

bool OnlineCallbackHandler::FindUploaded(const wchar_t* path, std::uint64_t& modificationTime) const
{
    const CSingleLock lock(m_state->section);
    const auto found = m_state->uploaded.find(path);
    if (found == m_state->uploaded.end())
        return false;
    modificationTime = found->second;
    return true;
}

// The table's lock is not held here: the locks of settings and files come before it in the lock order.
CString OnlineCallbackHandler::GetTransactionXml(int& number, bool peek, bool reserve)
{
    return Outbox(GetMainSettings().GetDataFolderPath() + L"\\outbox").Next(number, peek, reserve);
}
