#include "sys/libutils/HiveFile.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace qn::sys {

namespace {

constexpr std::string_view kTemplateLines[] = {
    "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n",
    "<QN_HIVE>\r\n",
    "<node name=\"HKEY_CURRENT_USER\">\r\n",
    "</node>\r\n",
    "<node name=\"HKEY_LOCAL_MACHINE\">\r\n",
    "</node>\r\n",
    "</QN_HIVE>\r\n",
};

}  // namespace

std::string_view HiveFile::templateText() {
    static const std::string text = [] {
        std::string joined;
        for (const std::string_view line : kTemplateLines) {
            joined.append(line);
        }
        return joined;
    }();
    return text;
}

std::string HiveFile::readText(const std::string& path) {
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        FILE* created = std::fopen(path.c_str(), "wb");
        if (created == nullptr) {
            throw "Cannot create hive";
        }
        for (const std::string_view line : kTemplateLines) {
            std::fwrite(line.data(), 1, line.size(), created);
        }
        std::fclose(created);
        file = std::fopen(path.c_str(), "rb");
        if (file == nullptr) {
            throw "Still cannot open hive";
        }
    }
    std::fseek(file, 0, SEEK_END);
    const auto size = static_cast<std::int32_t>(std::ftell(file));
    if (size <= 0) {
        std::fclose(file);
        return {};
    }
    std::string text(static_cast<std::size_t>(size) + 1, '\0');
    std::fseek(file, 0, SEEK_SET);
    const std::size_t got = std::fread(text.data(), 1, static_cast<std::size_t>(size), file);
    std::fclose(file);
    if (got == 0) {
        return {};
    }
    // Taken as a C string: the text ends at the file's first zero byte.
    text.resize(std::strlen(text.c_str()));
    return text;
}

void HiveFile::writeText(const std::string& path, const std::string& text) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return;
    }
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
}

}  // namespace qn::sys
