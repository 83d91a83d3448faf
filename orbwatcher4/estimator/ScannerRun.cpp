// Scans the drives and fills the cache.
#include "companions/logging/OrbLogging.h"
#include "orbwatcher4/Scanner.h"
#include "orbwatcher4/estimator/DriveScans.h"
#include "orbwatcher4/estimator/EntryTree.h"
#include "orbwatcher4/filter/ApiBoundary.h"

void Scanner::LoadXmlFilters()
{
    m_allFilters.LoadXmlFilters(m_dataXmlPath, m_autoExcludeXmlPath, nullptr);
    m_selection.LoadXmlFilters(nullptr, m_autoExcludeXmlPath, nullptr);
    m_selection.KeepOutAs(m_allFilters);
}

void Scanner::SetDestination(const wchar_t* folder)
{
    AtBoundary(L"Scanner::SetDestination", [&] { m_allFilters.SetDestination(folder); });
}

void Scanner::SetOwnFiles(const std::vector<CString>& databases, const std::vector<CString>& files)
{
    AtBoundary(L"Scanner::SetOwnFiles", [&] {
        m_allFilters.SetDatabases(databases);
        m_allFilters.SetOwnFiles(files);
    });
}

void Scanner::Start()
{
    AtBoundary(L"Scanner::Start", [&] {
        const COrbFuncLog guard(L"Scanner::Start");
        WaitForScans();
        LoadXmlFilters();
        LoadExtensionsMap();
        m_allFilters.ClearJunctionCache();
        m_scans->Run(*m_stopEvent, m_tally);
        ClearTotals();
    });
}

void Scanner::Stop()
{
    AtBoundary(L"Scanner::Stop", [&] {
        m_stopEvent->SetEvent();
        m_abortEvent->SetEvent();
    });
}

void Scanner::WaitForScans()
{
    AtBoundary(L"Scanner::WaitForScans", [&] { m_scans->Wait(nullptr); });
}

void Scanner::FileFoundCallback(const wchar_t* path, unsigned __int64 size)
{
    AtBoundary(L"Scanner::FileFoundCallback", [&] {
        // Constant while scans run.
        if (m_allFilters.WhyKeptOut(path) != KeptOut::No)
            return;
        m_tally->CountFile(size);
        // A file that was cached already counts, too: the running totals count finds.
        Count(AddToCache(path, size));
    });
}

FSEntry Scanner::AddToCache(const wchar_t* path, std::uint64_t size)
{
    const SpinScope lock(*m_cacheLock);
    return InsertFile(m_entryCache, path, size);
}

ScanProgress Scanner::GetScanProgress() const
{
    return AtBoundary(L"Scanner::GetScanProgress", ScanProgress(), [&]() -> ScanProgress { return m_tally->Read(); });
}

std::vector<PassedOverPath> Scanner::GetPassedOver() const
{
    return AtBoundary(L"Scanner::GetPassedOver", std::vector<PassedOverPath>(),
                      [&]() -> std::vector<PassedOverPath> { return m_tally->ReadPassedOver(); });
}
