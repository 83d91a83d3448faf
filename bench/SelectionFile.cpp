#include "bench/SelectionFile.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace
{

constexpr int items = 200'000;

std::string Item(int number)
{
    const std::string n = std::to_string(number);
    const std::string path = "C:\\Users\\someone\\Documents\\project " + std::to_string(number / 100) + "\\part " + n;
    return "  <Item path=\"" + path + "\" type=\"1\" includeSub=\"1\" exclude=\"" + (number % 5 ? "0" : "1") +
           "\" flags=\"0\" pluginId=\"" + std::to_string(number % 40) + "\" mask=\"" +
           (number % 3 ? "" : ".docx;.xlsx;.pptx") + "\" additionalInfo=\"note\" vid=\"0\" jobid=\"" + n +
           "\" pluginName=\"My Documents\" PRMask=\"\" masktype=\"0\"/>\r\n";
}

} // namespace

SelectionFile LargeSelection()
{
    const std::filesystem::path file = std::filesystem::absolute("selection.xml");
    {
        std::ofstream out(file, std::ios::binary);
        out << "<Data>\r\n";
        for (int number = 0; number < items; ++number)
            out << Item(number);
        out << "</Data>\r\n";
        if (!out.flush())
            throw std::runtime_error("the selection cannot be written");
    }
    return {file.c_str(), static_cast<double>(std::filesystem::file_size(file)) / 1e6, items};
}
