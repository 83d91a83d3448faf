// Files so large that they would use up the memory of the service that reads them.
#include "companions/settings/OrbSettings.h"
#include "support/Handle.h"
#include "tests/orbwatcher4/WatcherFixture.h"
#include "xml/Markup.h"

#include <winioctl.h>

namespace
{

constexpr std::int64_t MiB = 1024 * 1024;

class SizeLimits : public WatcherFixture
{
protected:
    // The file takes no room on the disk.
    void Stretch(const wchar_t* name, std::int64_t size) const
    {
        const FileHandle file(CreateFileW(folder.Path(name), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS, 0, nullptr));
        DWORD bytes = 0;
        DeviceIoControl(file.Get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &bytes, nullptr);
        LARGE_INTEGER end;
        end.QuadPart = size;
        ASSERT_TRUE(SetFilePointerEx(file.Get(), end, nullptr, FILE_BEGIN));
        ASSERT_TRUE(SetEndOfFile(file.Get()));
    }
    bool Heard(std::wstring_view part) const
    {
        for (const LogCapture::Line& line : log.Lines())
            if (line.text.find(part) != std::wstring::npos)
                return true;
        return false;
    }
};

TEST_F(SizeLimits, SettingsOfMoreThan64MiBAreNotRead)
{
    folder.WriteBytes(L"data\\UserConfigurations.json", "{}");
    Stretch(L"data\\UserConfigurations.json", 64 * MiB + 1);
    EXPECT_FALSE(GetUserConfigurations().Load());
    EXPECT_TRUE(Heard(L"UserConfigurations.json cannot be read: it is larger than"));
    EXPECT_NE(GetFileAttributesW(folder.Path(L"data\\UserConfigurations.json")), INVALID_FILE_ATTRIBUTES);
}

TEST_F(SizeLimits, RulesOfMoreThan256MiBAreNotLoaded)
{
    folder.WriteBytes(L"huge.xml", "<Data>" + TreeItem() + "</Data>");
    Stretch(L"huge.xml", 256 * MiB + 1);
    watcher.SetDataXmlPath(folder.Path(L"huge.xml"));
    EXPECT_FALSE(watcher.LoadSelection());
    CMarkup document;
    document.Load(folder.Path(L"huge.xml"));
    EXPECT_NE(document.GetResult().Find(L"too long"), -1) << Narrow(document.GetResult().View());
}

} // namespace
