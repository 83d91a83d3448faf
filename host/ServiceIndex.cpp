#include "host/ServiceIndex.h"

#include "companions/indexdb/IndexExamination.h"
#include "companions/logging/OrbLogging.h"
#include "companions/settings/OrbSettings.h"
#include "host/Console.h"
#include "host/DueReasons.h"
#include "host/FirstTimeRuns.h"
#include "host/IndexAdvice.h"

namespace
{

// The sentences about the state of an index, in the order of ServiceIndex::Was.
constexpr std::wstring_view Words[] = {L"", L"the index is new", L"the index was an empty file, and was made anew",
                                       L"the index of the last run is lost, and an empty one was made",
                                       L"the index is not the one of the last run"};

// Returns why the settings say that a full enumeration is due, with a comma; empty when they give no reason.
std::wstring WhyNoted()
{
    wchar_t reason[32] = L"";
    GetServiceRunSettings().GetValue(FullDueReasonKey, reason, std::size(reason));
    const DueReason* const known = FindDueReason(reason);
    return known ? L", because " + std::wstring(known->words) : L"";
}

} // namespace

bool ServiceIndex::Open()
{
    if (IsEmptyFile(m_options.index))
        m_was = Was::Empty;
    else if (GetFileAttributesW(m_options.index.c_str()) == INVALID_FILE_ATTRIBUTES)
        m_was = GetFolderIndexIdentity().IsEmpty() ? Was::None : Was::Lost;
    const bool writable = m_options.record || m_was != Was::Whole;
    m_index.SetDBFilePath(m_options.index.c_str());
    if (m_index.Open(writable, 0, 0) && m_index.LoadCache())
        return true;
    m_writer.Error(L"the index cannot be used: " + std::wstring(m_index.GetLastDbErrorText().GetString()) + L"; " +
                       IndexAdvice(m_index.GetLastDbError()),
                   m_options.index);
    return false;
}

void ServiceIndex::PrepareEnumeration()
{
    m_folderIsNew = !FirstTimeRuns::WasAnyNoted();
    const CString before = GetFolderIndexIdentity(), now = IndexIdentity(m_options.index.c_str());
    if (m_was == Was::Whole && !before.IsEmpty() && !now.IsEmpty() && before != now)
        m_was = Was::Other;
    if (m_was != Was::Whole)
        g_OrbLog.WriteLog(1, L"orbwatch", __LINE__, L"%s: %s, and a full enumeration is due", m_options.index.c_str(),
                          Words[static_cast<std::size_t>(m_was)].data());
    const bool due = m_was != Was::Whole || m_folderIsNew || m_options.enumerate;
    const bool lost = m_was != Was::Whole && m_was != Was::None;
    // A new folder takes the identity when the watcher begins.
    if (due && FirstTimeRuns::MakeDue(lost ? FullDue::Index : nullptr) && !before.IsEmpty() && !now.IsEmpty())
        SetFolderIndexIdentity(now);
}

void ServiceIndex::TellWhyDue()
{
    const std::wstring words(Words[static_cast<std::size_t>(m_was)]);
    if (m_was == Was::Other)
        m_writer.Note(words + L": everything that the selection includes is looked at, and what this index does not "
                              L"hold as it is now is handed out",
                      m_options.index);
    else if (m_was != Was::Whole)
        m_writer.Note(words + L": everything that the selection includes is handed out once", m_options.index);
    else if (m_folderIsNew)
        m_writer.Note(
            L"no full enumeration is noted as complete here: everything that the selection includes is looked at, and "
            L"what the index does not hold as it is now is handed out",
            GetMainSettings().GetDataFolderPath().GetString());
    else if (!m_options.enumerate)
        m_writer.Note(L"a full enumeration is due: everything that the selection includes is looked at again" +
                      WhyNoted());
}

void ServiceIndex::Record(const QueueDatum& datum)
{
    ItemDatum item;
    item.path = datum.path;
    item.kind = datum.flags & QueueFlags::Directory ? 1 : 0;
    item.flags = item.kind ? CachedDatum::Folder : 0;
    item.modificationTime = static_cast<std::uint64_t>(datum.modificationTime);
    m_batch.Add(item, Seconds());
}

bool ServiceIndex::IsToRecord(const QueueDatum& datum) const
{
    return m_batch.Holds(datum.path, static_cast<std::uint64_t>(datum.modificationTime));
}

std::vector<CString> ServiceIndex::Commit()
{
    const RecordBatch::Committed committed = m_batch.Commit(m_index);
    for (const RecordBatch::Failure& failure : committed.failures)
        TellUnrecorded(failure.path, failure.error, failure.text);
    return committed.recorded;
}

void ServiceIndex::Forget(const std::vector<CString>& deleted)
{
    if (!deleted.empty() && !m_index.ForgetItems(deleted))
        TellUnrecorded(deleted.front(), m_index.GetLastDbError(), m_index.GetLastDbErrorText());
}

void ServiceIndex::TellUnrecorded(const wchar_t* path, CIndexDB::Error error, const CString& text)
{
    m_failed = true;
    m_writer.Error(L"cannot be recorded in the index: " + std::wstring(text.GetString()) + L"; " + IndexAdvice(error),
                   path);
}
