// The log reader on arbitrary input. The first byte chooses:
//  - even: the rest is a file of lines, read as qnlog reads it (with filters);
//  - odd: the rest is a message; it is armoured as an output would, read back,
//    and must come back as written whenever the reader takes it as a line.

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

#include "sys/libutils/LineArmour.h"
#include "sys/libutils/LineKey.h"
#include "sys/libutils/LogReader.h"
#include "tools/qnlog/QnlogApp.h"

namespace {

void readAsFile(std::string_view data) {
    static std::istringstream none;
    std::ostringstream out, err;
    qn::tools::qnlog::QnlogApp app(none, out, err);
    app.filter().setLevel(4);
    app.filter().setModule("M");
    std::size_t number = 0;
    while (!data.empty()) {
        const std::size_t newline = data.find('\n');
        app.readLine(data.substr(0, newline), "fuzz", ++number);
        if (newline == std::string_view::npos)
            break;
        data.remove_prefix(newline + 1);
    }
}

void roundTrip(std::string_view data) {
    using namespace qn::sys::encryption;
    static Aes128* cipher = [] {
        Key<16> key;
        fetchLineKey(key);
        return new Aes128(key, Aes128::Encrypt);
    }();
    Block<16> iv;
    std::string plain = "[M i] " + std::string(data);
    std::string written = plain, armoured;
    armourLine(*cipher, iv, written, armoured);

    qn::sys::LogReader reader;
    std::string text;
    if (reader.read(armoured, text) != qn::sys::LogReader::Result::Plain)
        return;
    // The reader drops up to 15 trailing blanks with the padding.
    while (!plain.empty() && plain.back() == ' ' && text.size() < plain.size())
        plain.pop_back();
    if (text != plain)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string_view data(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    if (bytes[0] % 2 == 0)
        readAsFile(data);
    else
        roundTrip(data);
    return 0;
}
