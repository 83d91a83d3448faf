#include "orbwatcher4/estimator/FileKinds.h"

#include <unordered_map>

namespace
{

constexpr std::wstring_view Documents[] = {L".csv", L".doc",  L".docx", L".epub",  L".htm",    L".html",
                                           L".md",  L".odp",  L".ods",  L".odt",   L".pdf",    L".pptx",
                                           L".ppt", L".rtf",  L".tex",  L".txt",   L".xls",    L".xlsx",
                                           L".xml", L".json", L".one",  L".pages", L".numbers"};
constexpr std::wstring_view Pictures[] = {L".arw",  L".bmp", L".cr2", L".cr3",  L".dng",  L".gif", L".heic", L".ico",
                                          L".jpeg", L".jpg", L".nef", L".orf",  L".png",  L".psd", L".raf",  L".raw",
                                          L".rw2",  L".svg", L".tif", L".tiff", L".webp", L".xcf", L".ai"};
constexpr std::wstring_view Videos[] = {L".3gp", L".avi",  L".flv", L".m2ts", L".m4v", L".mkv",  L".mov",
                                        L".mp4", L".mpeg", L".mpg", L".mts",  L".vob", L".webm", L".wmv"};
constexpr std::wstring_view Sounds[] = {L".aac", L".aiff", L".flac", L".m4a", L".mid",
                                        L".mp3", L".ogg",  L".opus", L".wav", L".wma"};
constexpr std::wstring_view Archives[] = {L".7z",  L".bz2", L".cab",  L".gz",   L".iso", L".rar", L".tar",
                                          L".tgz", L".vhd", L".vhdx", L".vmdk", L".xz",  L".zip", L".zst"};
constexpr std::wstring_view Data[] = {L".accdb", L".db",  L".eml",    L".mbox", L".mdb", L".mdf", L".msg",
                                      L".ost",   L".pst", L".sqlite", L".ldf",  L".bak", L".sql"};
constexpr std::wstring_view Programs[] = {L".bat", L".c",   L".class", L".cmd", L".cpp", L".cs", L".dll", L".exe",
                                          L".h",   L".jar", L".java",  L".js",  L".msi", L".o",  L".obj", L".pdb",
                                          L".ps1", L".py",  L".rs",    L".sh",  L".sys", L".ts"};

using Table = std::unordered_map<std::wstring_view, FileKind>;

template <std::size_t Count>
void Add(Table& table, const std::wstring_view (&extensions)[Count], FileKind kind)
{
    for (const std::wstring_view extension : extensions)
        table.emplace(extension, kind);
}

Table MakeTable()
{
    Table table;
    Add(table, Documents, FileKind::Document);
    Add(table, Pictures, FileKind::Picture);
    Add(table, Videos, FileKind::Video);
    Add(table, Sounds, FileKind::Sound);
    Add(table, Archives, FileKind::Archive);
    Add(table, Data, FileKind::Data);
    Add(table, Programs, FileKind::Program);
    return table;
}

} // namespace

FileKind KindOf(std::wstring_view extension)
{
    static const Table table = MakeTable();
    const auto found = table.find(extension);
    return found == table.end() ? FileKind::Other : found->second;
}
