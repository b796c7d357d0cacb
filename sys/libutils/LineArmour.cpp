#include "sys/libutils/LineArmour.h"

#include <vector>

#include "sys/libutils/Base64.h"

namespace qn::sys::encryption {

bool armourLine(Aes128& cipher, Block<16>& iv, std::string& plain, std::string& out) {
    if (plain.size() % 16 != 0)
        plain.append(16 - plain.size() % 16, ' ');
    auto* bytes = reinterpret_cast<std::uint8_t*>(plain.data());
    // Encrypted in place: the padded plain text is not needed afterwards.
    if (!cipher.cbc(iv, bytes, bytes, plain.size())) {
        out.clear();
        return false;
    }
    return base64Encode(bytes, plain.size(), out);
}

}  // namespace qn::sys::encryption
