#include "sys/libutils/KeyRecord.h"
namespace qn::sys::encryption {
const KeyTable& compiledKeyTable()
{
    static const std::uint8_t none[17] = {};
    static const KeyTable table{nullptr, nullptr, 0, none, none};
    return table;
}
} // namespace qn::sys::encryption
