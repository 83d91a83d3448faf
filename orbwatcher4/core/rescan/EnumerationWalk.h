// Receives what one walk over a drive meets: the files, with the attributes of the folder's list, and the paths that
// the rules leave out. One thread uses an object.
#pragma once

#include "orbwatcher4/SmartScanCaller.h"
#include "orbwatcher4/core/rescan/FoundFiles.h"
#include "orbwatcher4/filter/WalkObserver.h"

class EnumerationWalk final : public SmartScanCaller, public WalkObserver
{
public:
    explicit EnumerationWalk(FoundFiles& found) : m_found(found), m(found.Parts()) {}

    bool ProgressCallback() override { return m_found.GoOn(); }
    void FileFoundCallback(const wchar_t* path, unsigned __int64 size) override;
    void FolderFoundCallback(const wchar_t* path) override;

    void Entering(const CString& folder) override;
    void ListRead(const CString& folder, std::uint32_t error) override;
    void Shown(std::uint32_t attributes) override { m_listed = FileFacts::Listed(attributes, m_folder); }
    void SelectedMissing(const CString& path) override;
    void PassedOver(const CString& path, PathOutcome why) override;

private:
    PathOutcome NamedIfSkipped(const CString& path, PathOutcome outcome);
    std::optional<FileFacts> TakeListed();

    FoundFiles& m_found;
    const EnumerationParts& m;
    ListedFolder m_folder;
    std::optional<FileFacts> m_listed;
};
