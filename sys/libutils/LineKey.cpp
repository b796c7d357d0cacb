#include "sys/libutils/LineKey.h"

#include "sys/libutils/KeyRecord.h"

namespace qn::sys::encryption {

bool fetchLineKey(Key<16>& key) {
    const KeyTable& table = compiledKeyTable();
    std::uint32_t identity = 0;
    return fetchKeyRecord(table, kLogLineKeySlot, table.mask, table.salt, key.size(), key.data(),
                          identity);
}

}  // namespace qn::sys::encryption
