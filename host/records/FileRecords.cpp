#include "host/records/FileRecords.h"

#include "companions/indexdb/OrbIndexDB.h"
#include "support/Backslash.h"
#include "support/HarmlessText.h"
#include "support/SystemPath.h"

#include <utility>

namespace
{

// Returns null for a time that could not be read.
RecordFields TimeOrNull(std::int64_t time)
{
    return time > 0 ? RecordFields(RecordText::Time(static_cast<std::uint64_t>(time))) : RecordFields(nullptr);
}

RecordFields FlagNames(std::uint32_t flags)
{
    static constexpr std::pair<std::uint32_t, const char*> names[] = {
        {QueueFlags::New, "new"},
        {QueueFlags::File, "file"},
        {QueueFlags::Directory, "directory"},
        {QueueFlags::BlockLevel, "blockLevel"},
        {QueueFlags::Internal, "internal"},
        {QueueFlags::Rule800, "rule800"},
        {QueueFlags::EvenWhenHidden, "evenWhenHidden"},
        {QueueFlags::RuleWithoutText, "ruleWithoutText"},
        {QueueFlags::Recovery40000, "recovery40000"},
        {QueueFlags::Recovery80000, "recovery80000"},
        {QueueFlags::ShowOverlay, "showOverlay"},
        {QueueFlags::DedupCandidate, "dedupCandidate"},
    };
    RecordFields list = RecordFields::array();
    for (const auto& [bit, name] : names)
        if (flags & bit)
            list.push_back(name);
    return list;
}

std::string HexDigits(std::uint64_t id)
{
    std::string digits(16, '0');
    for (std::size_t i = digits.size(); i-- > 0; id >>= 4)
        digits[i] = "0123456789abcdef"[id & 15];
    return digits;
}

bool IsFolder(const DeletionRecord& record)
{
    CachedDatum datum;
    return CIndexDB::GetCachedData(record.id, datum) && CIndexDB::IsItemOf(record.path, datum) && datum.kind == 1;
}

// Returns the path, spelled as that of a pending item: a folder ends in a backslash.
std::wstring PathOf(const DeletionRecord& record)
{
    return std::wstring(record.path.View()) + (IsFolder(record) && !record.path.View().ends_with(L'\\') ? L"\\" : L"");
}

// Something of the other kind may be there: a folder that is there was wanted as a file. The root of a drive is missing
// when another volume is there.
std::pair<const char*, const char*> ReasonOfMissing(const CString& path)
{
    const bool root = path.GetLength() <= 3;
    const DWORD attributes = root ? INVALID_FILE_ATTRIBUTES : GetFileAttributesW(SystemPath(WithoutBackslash(path)));
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return {"missing", "not there"};
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        return {"isFolder", "a folder is there, and its rule is for a single file"};
    return EndsInBackslash(path) ? std::pair("isFile", "a file is there, and its rule is for a folder")
                                 : std::pair("missing", "not there");
}

// Returns the name of a reason for programs, and its words for people.
std::pair<const char*, const char*> ReasonOf(const PassedOverPath& skipped)
{
    switch (skipped.why) {
    case PathOutcome::Missing:
        return ReasonOfMissing(skipped.path);
    case PathOutcome::TooLong:
        return {"tooLong", "its path is too long"};
    case PathOutcome::BackupFolder:
        return {"backupFolder", "the backup destination is never backed up"};
    case PathOutcome::OwnFile:
        return {"ownFile", "the product's own files are never backed up"};
    default:
        return {"unreadable", "cannot be read"};
    }
}

} // namespace

RecordFields PendingRecord::Fields() const
{
    return {{"path", ToUtf8(datum.path)},
            {"kind", datum.flags & QueueFlags::Directory ? "directory" : "file"},
            {"size", datum.size},
            {"modified", TimeOrNull(datum.modificationTime)},
            {"created", TimeOrNull(datum.creationTime)},
            {"attributes", datum.attributes},
            {"id", HexDigits(datum.id)},
            {"flags", FlagNames(datum.flags)},
            {"flagBits", datum.flags},
            {"ruleText", ToUtf8(datum.firstText)},
            {"ruleNumbers", ToUtf8(datum.secondText)},
            {"ruleValue", datum.ruleValue}};
}

std::string PendingRecord::Line() const
{
    std::string line = datum.flags & QueueFlags::New ? "new      " : "changed  ";
    line += datum.flags & QueueFlags::Directory ? "folder  " : "file    ";
    line += RecordText::Path(datum.path);
    if (!(datum.flags & QueueFlags::Directory))
        line += "  " + std::to_string(datum.size) + " bytes";
    if (datum.firstText[0])
        line += "  [" + ToUtf8(HarmlessText(datum.firstText)) + "]";
    return line;
}

RecordFields DeletedRecord::Fields() const
{
    return {{"path", ToUtf8(PathOf(deletion))},
            {"kind", IsFolder(deletion) ? "directory" : "file"},
            {"id", HexDigits(deletion.id)},
            {"job", deletion.job}};
}

std::string DeletedRecord::Line() const { return "deleted " + RecordText::Path(PathOf(deletion)); }

const char* SkippedRecord::Words() const { return ReasonOf(skipped).second; }

RecordFields SkippedRecord::Fields() const
{
    return {{"path", ToUtf8(skipped.path.View())}, {"reason", ReasonOf(skipped).first}};
}
