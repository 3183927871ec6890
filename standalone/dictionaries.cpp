#include "standalone/dictionaries.hpp"

#include <bit>
#include <cstring>
#include <new>
#include <string_view>

#include "standalone/arrays.hpp"
#include "standalone/extension.hpp"
#include "standalone/keyed_hash.hpp"
#include "standalone/object.hpp"
#include "standalone/statuses.hpp"
#include "standalone/strings.hpp"

namespace nq {
namespace {

struct Entry {
    NQU8String* key;
    InstanceHeader* value;
    uint64_t hash;
};

constexpr uint64_t kFirstSlots = 16;
constexpr uint32_t kNoEntry = 0;

// The entries in the order of their keys' arrival, and an open-addressed index of their numbers,
// counted from 1. At most half of the slots are in use, so a probe soon ends.
struct Table {
    Entry* entries;
    uint64_t count;
    uint32_t* slots;
    uint64_t slot_count;  // a power of two; `entries` has room for half as many
};

// The table stands apart from the object, which may be moved, and comes from the same pool.
Table& table_of(const NQDictionary& dictionary) noexcept {
    return *static_cast<Table*>(dictionary.host[0]);
}

// The slot of the key, or the empty slot where it belongs.
uint64_t find_slot(const Table& table, std::string_view key, uint64_t hash) noexcept {
    const uint64_t mask = table.slot_count - 1;
    uint64_t slot = hash & mask;
    for (; table.slots[slot] != kNoEntry; slot = (slot + 1) & mask) {
        const Entry& entry = table.entries[table.slots[slot] - 1];
        if (entry.hash == hash && text_of(*entry.key) == key) break;
    }
    return slot;
}

Entry* find_entry(const Table& table, std::string_view key) noexcept {
    if (table.count == 0) return nullptr;
    const uint32_t number = table.slots[find_slot(table, key, keyed_hash(key))];
    return number == kNoEntry ? nullptr : &table.entries[number - 1];
}

void give_back(HostPool* pool, void* block) noexcept {
    if (block) pool->free(pool, block);
}

void enter_all(Table& table) noexcept {
    const uint64_t mask = table.slot_count - 1;
    for (uint64_t i = 0; i < table.count; ++i) {
        uint64_t slot = table.entries[i].hash & mask;
        while (table.slots[slot] != kNoEntry) slot = (slot + 1) & mask;
        table.slots[slot] = static_cast<uint32_t>(i + 1);
    }
}

// Gives the table that many slots and room for half as many entries.
bool set_slots(Table& table, HostPool* pool, uint64_t slot_count) noexcept {
    const uint64_t room = slot_count / 2;
    if (room > UINT32_MAX - 1) return false;
    void* slots = pool->alloc(pool, slot_count * sizeof *table.slots, ALLOC_ZERO_FILL);
    if (!slots) return false;
    void* entries = pool->realloc(pool, table.entries, room * sizeof *table.entries, 0);
    if (!entries) {
        pool->free(pool, slots);
        return false;
    }
    give_back(pool, table.slots);
    table.entries = static_cast<Entry*>(entries);
    table.slots = static_cast<uint32_t*>(slots);
    table.slot_count = slot_count;
    enter_all(table);
    return true;
}

Table* make_table(HostPool* pool) noexcept {
    void* block = pool->alloc(pool, sizeof(Table), 0);
    return block ? new (block) Table{} : nullptr;
}

void free_table(Table& table, HostPool* pool) noexcept {
    give_back(pool, table.entries);
    give_back(pool, table.slots);
    pool->free(pool, &table);
}

NQStatus set(NQDictionary* self, NQU8String* key, InstanceHeader* value) noexcept {
    if (!key) return NQ_STATUS_INVALID_ARGUMENT;
    Table& table = table_of(*self);
    const std::string_view text = text_of(*key);
    const uint64_t hash = keyed_hash(text);
    if (table.count * 2 == table.slot_count) {
        // Replacing a value needs no room and must not fail for want of it.
        if (!find_entry(table, text)) {
            const uint64_t slots = table.slot_count ? table.slot_count * 2 : kFirstSlots;
            if (!set_slots(table, self->header.pool, slots)) return NQ_STATUS_NO_MEMORY;
        }
    }
    retain(value);
    uint32_t& number = table.slots[find_slot(table, text, hash)];
    if (number != kNoEntry) {
        Entry& entry = table.entries[number - 1];
        InstanceHeader* replaced = entry.value;
        entry.value = value;
        drop(replaced);
        return NQ_STATUS_OK;
    }
    retain(&key->header);
    table.entries[table.count++] = {key, value, hash};
    number = static_cast<uint32_t>(table.count);
    return NQ_STATUS_OK;
}

NQStatus get(NQDictionary* self, NQU8String* key, InstanceHeader** value) noexcept {
    if (!key) return NQ_STATUS_INVALID_ARGUMENT;
    const Entry* entry = find_entry(table_of(*self), text_of(*key));
    *value = entry ? entry->value : nullptr;
    return entry ? NQ_STATUS_OK : NQ_HOST_STATUS_UNKNOWN_KEY;
}

int32_t find(NQDictionary* self, const uint8_t* key, uint64_t length,
             InstanceHeader** value) noexcept {
    if (length && !key) return 0;
    const Entry* entry = find_entry(table_of(*self), {reinterpret_cast<const char*>(key), length});
    if (!entry) return 0;
    *value = entry->value;
    return 1;
}

NQStatus list_keys(NQDictionary* self, NQArray** keys) noexcept {
    const Table& table = table_of(*self);
    NQArray* list = make_array(self->header.pool, table.count);
    if (!list) return NQ_STATUS_NO_MEMORY;
    for (uint64_t i = 0; i < table.count; ++i) list->append(list, table.entries[i].key, 0);
    *keys = list;
    return NQ_STATUS_OK;
}

NQStatus destroy(InstanceHeader* self) noexcept {
    auto* dictionary = reinterpret_cast<NQDictionary*>(self);
    NQDictionaryApi* extension = dictionary->extension;
    HostPool* pool = self->pool;
    Table& table = table_of(*dictionary);
    for (uint64_t i = 0; i < table.count; ++i) {
        drop(&table.entries[i].key->header);
        drop(table.entries[i].value);
    }
    free_table(table, pool);
    const NQStatus status = pool->free(pool, self);
    extension->handle.release(extension);
    return status;
}

NQStatus clone(InstanceHeader* self, HostPool* pool, uint32_t, InstanceHeader** out) noexcept;

constexpr ObjectKind kDictionaryKind{"NQDictionary", destroy, clone};

NQDictionary* make_dictionary(HostPool* pool, NQDictionaryApi* extension) noexcept {
    Table* table = make_table(pool);
    if (!table) return nullptr;
    auto* dictionary = make_object<NQDictionary>(kDictionaryKind, pool);
    if (!dictionary) {
        free_table(*table, pool);
        return nullptr;
    }
    dictionary->extension = extension;
    dictionary->set = set;
    dictionary->get = get;
    dictionary->find = find;
    dictionary->listKeys = list_keys;
    dictionary->host[0] = table;
    static_cast<Extension<NQDictionaryApi>*>(extension)->hold();
    return dictionary;
}

NQStatus clone(InstanceHeader* self, HostPool* pool, uint32_t, InstanceHeader** out) noexcept {
    if (!pool) pool = self->pool;
    const auto* source = reinterpret_cast<const NQDictionary*>(self);
    const Table& from = table_of(*source);
    NQDictionary* made = make_dictionary(pool, source->extension);
    if (!made) return NQ_STATUS_NO_MEMORY;
    Table& to = table_of(*made);
    if (from.count && !set_slots(to, pool, from.slot_count)) {
        drop(&made->header);
        return NQ_STATUS_NO_MEMORY;
    }
    for (uint64_t i = 0; i < from.count; ++i) {
        to.entries[i] = from.entries[i];
        retain(&to.entries[i].key->header);
        retain(to.entries[i].value);
    }
    to.count = from.count;
    enter_all(to);
    *out = &made->header;
    return NQ_STATUS_OK;
}

NQStatus create_dictionary(NQDictionaryApi* self, HostPool* pool, void*, NQDictionary** out,
                           NQDictionaryApi*) noexcept {
    NQDictionary* dictionary = make_dictionary(pool, self);
    if (!dictionary) return NQ_STATUS_NO_MEMORY;
    *out = dictionary;
    return NQ_STATUS_OK;
}

}  // namespace

NQDictionaryApi dictionary_operations() noexcept {
    NQDictionaryApi api{};
    api.createDictionary = create_dictionary;
    return api;
}

}  // namespace nq
