#include <vxblade/record_files.h>

#include "store/slot_table.h"

#include <cstdio>
#include <cstring>

namespace {

constinit vx::SlotTable table(RegisteredClients, PSST_LIST_REGISTERED_CLIENTS,
                              PSST_REGISTERED_CLIENTS);

} // namespace

int ReadRegisteredClientInfo(void) {
    return table.load([](const RegisteredClientEntry& entry) {
        std::printf("%s:%d data_cfg -> Valid: %x\n", "ReadRegisteredClientInfo", __LINE__,
                    entry.record.valid);
    });
}

int WriteRegisteredClientInfo(const RegisteredClientEntry* entry) {
    return table.write(*entry);
}

RegisteredClientEntry* findRegisteredClient(const RegisteredClient* client) {
    if (client->identityLength > sizeof client->identity) {
        return nullptr;
    }
    return table.find([client](const RegisteredClientEntry& entry) {
        const RegisteredClient& known = entry.record.client;
        return known.identityLength == client->identityLength &&
               std::memcmp(known.identity, client->identity, client->identityLength) == 0;
    });
}

int vxpmgr_addRegisteredClient(const RegisteredClient* client) {
    if (client->identityLength > sizeof client->identity ||
        findRegisteredClient(client) != nullptr) {
        return -1;
    }
    RegisteredClientEntry* const entry = table.take();
    if (entry == nullptr) {
        return -2;
    }
    entry->record.client = *client;
    return table.write(*entry);
}

int vxpmgr_delRegisteredClient(const RegisteredClient* client) {
    RegisteredClientEntry* const entry = findRegisteredClient(client);
    if (entry == nullptr) {
        return -1;
    }
    table.release(*entry);
    return table.write(*entry);
}

int vxpmgr_getNextRegisteredClient(RegisteredClient* out, int index) {
    const RegisteredClientEntry* const entry = table.next(index);
    if (entry == nullptr) {
        return -1;
    }
    *out = entry->record.client;
    int const following = static_cast<int>(table.indexOf(*entry)) + 1;
    std::printf("%s:%d Found Valid pRegClient. next index: %d\n", __func__, __LINE__, following);
    return following;
}
