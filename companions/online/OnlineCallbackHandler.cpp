#include "companions/online/OnlineCallbackHandler.h"

#include "companions/online/Outbox.h"
#include "companions/settings/OrbSettings.h"
#include "support/RankedSection.h"

#include <unordered_map>

struct OnlineCallbackHandler::State {
    RankedSection section{LockRank::Leaf, L"online table"};
    std::unordered_map<std::uint64_t, std::uint64_t> uploaded; // guarded by the section
};

OnlineCallbackHandler::OnlineCallbackHandler() : m_state(new State) {}
OnlineCallbackHandler::~OnlineCallbackHandler() { delete m_state; }

void OnlineCallbackHandler::AddUploaded(std::uint64_t pathKey, std::uint64_t modificationTime)
{
    const CSingleLock lock(m_state->section);
    m_state->uploaded[pathKey] = modificationTime;
}

void OnlineCallbackHandler::RemoveUploaded(std::uint64_t pathKey)
{
    const CSingleLock lock(m_state->section);
    m_state->uploaded.erase(pathKey);
}

void OnlineCallbackHandler::ClearUploaded()
{
    const CSingleLock lock(m_state->section);
    m_state->uploaded.clear();
}

bool OnlineCallbackHandler::FindUploaded(std::uint64_t pathKey, std::uint64_t& modificationTime) const
{
    const CSingleLock lock(m_state->section);
    const auto found = m_state->uploaded.find(pathKey);
    if (found == m_state->uploaded.end())
        return false;
    modificationTime = found->second;
    return true;
}

// The table's lock is not held here: settings and files come before it in the lock order.
CString OnlineCallbackHandler::GetTransactionXml(int& number, bool peek, bool reserve)
{
    return Outbox(GetMainSettings().GetDataFolderPath() + L"\\outbox").Next(number, peek, reserve);
}
