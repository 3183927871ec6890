#include "standalone/values/dictionaries.hpp"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "standalone/base/extension.hpp"
#include "standalone/base/keyed_hash.hpp"
#include "standalone/base/statuses.hpp"
#include "standalone/values/arrays.hpp"
#include "standalone/values/object.hpp"
#include "standalone/values/strings.hpp"

namespace nq {
namespace {

struct Entry {
    NQU8String* key;
    InstanceHeader* value;
    uint64_t mark;  // of the key
};

// The first entries have no index: to look at each costs less than to hash a key.
constexpr uint64_t kListed = 8;
constexpr uint64_t kFirstSlots = 32;
constexpr uint32_t kNoEntry = 0;

// The entries in the order of their keys' arrival, and an open-addressed index of their numbers,
// counted from 1. At most half of the slots are in use, so a probe soon ends.
struct Table {
    Entry* entries;
    uint64_t count;
    uint32_t* slots;      // null where there are at most kListed entries
    uint64_t slot_count;  // 0 or a power of two; `entries` has room for half as many
    // Where the next key is looked for first: who goes through the listed keys finds each there,
    // with neither a hash nor a jump through memory.
    std::atomic<uint64_t> expected;
};

// In the object itself, so it moves along when that is moved.
Table& table_of(const NQDictionary& dictionary) noexcept {
    static_assert(sizeof(Table) <= sizeof dictionary.host && alignof(Table) <= alignof(void*));
    return *std::launder(reinterpret_cast<Table*>(const_cast<void**>(dictionary.host)));
}

// The first seven bytes of the text and, lowest, its length as far as a byte holds it: tells all
// texts of up to seven bytes apart, and most others.
constexpr std::size_t kWholeInMark = 7;

uint64_t fingerprint(std::string_view text) noexcept {
    const std::size_t size = text.size();
    uint64_t start = 0;
    if (size > kWholeInMark) {
        std::memcpy(&start, text.data(), sizeof start);
        return start << 8 | std::min<std::size_t>(size, UINT8_MAX);
    }
    if (size >= 4) {
        uint32_t first;
        uint32_t last;
        std::memcpy(&first, text.data(), sizeof first);
        std::memcpy(&last, text.data() + size - sizeof last, sizeof last);
        start = first | uint64_t{last} << (size - sizeof last) * 8;
    } else {
        for (const char byte : text) start = start << 8 | static_cast<uint8_t>(byte);
    }
    return start << 8 | size;
}

// What an entry remembers of its key as long as there is no index, and then.
uint64_t mark_of(const Table& table, std::string_view key) noexcept {
    return table.slots ? keyed_hash(key) : fingerprint(key);
}

// The slot of the key, or the empty slot where it belongs.
uint32_t& find_slot(const Table& table, std::string_view key, uint64_t hash) noexcept {
    const uint64_t mask = table.slot_count - 1;
    uint64_t slot = hash & mask;
    for (; table.slots[slot] != kNoEntry; slot = (slot + 1) & mask) {
        const Entry& entry = table.entries[table.slots[slot] - 1];
        if (entry.mark == hash && text_of(*entry.key) == key) break;
    }
    return table.slots[slot];
}

Entry* find_entry(const Table& table, std::string_view key, uint64_t mark) noexcept {
    if (table.slots) {
        const uint32_t number = find_slot(table, key, mark);
        return number == kNoEntry ? nullptr : &table.entries[number - 1];
    }
    Entry* const end = table.entries + table.count;
    for (Entry* entry = table.entries; entry != end; ++entry) {
        if (entry->mark != mark) continue;
        if (key.size() <= kWholeInMark || text_of(*entry->key) == key) return entry;
    }
    return nullptr;
}

Entry* find_entry(const Table& table, std::string_view key) noexcept {
    return find_entry(table, key, mark_of(table, key));
}

void give_back(HostPool* pool, void* block) noexcept {
    if (block) pool->free(pool, block);
}

void enter_all(Table& table) noexcept {
    const uint64_t mask = table.slot_count - 1;
    for (uint64_t i = 0; i < table.count; ++i) {
        uint64_t slot = table.entries[i].mark & mask;
        while (table.slots[slot] != kNoEntry) slot = (slot + 1) & mask;
        table.slots[slot] = static_cast<uint32_t>(i + 1);
    }
}

bool set_room(Table& table, HostPool* pool, uint64_t room) noexcept {
    void* entries = pool->realloc(pool, table.entries, room * sizeof *table.entries, 0);
    if (entries) table.entries = static_cast<Entry*>(entries);
    return entries != nullptr;
}

// Gives the table that many slots and room for half as many entries.
bool set_slots(Table& table, HostPool* pool, uint64_t slot_count) noexcept {
    const uint64_t room = slot_count / 2;
    if (room > UINT32_MAX - 1) return false;
    void* slots = pool->alloc(pool, slot_count * sizeof *table.slots, ALLOC_ZERO_FILL);
    if (!slots) return false;
    if (!set_room(table, pool, room)) {
        pool->free(pool, slots);
        return false;
    }
    if (!table.slots) {
        for (uint64_t i = 0; i < table.count; ++i) {
            table.entries[i].mark = keyed_hash(text_of(*table.entries[i].key));
        }
    }
    give_back(pool, table.slots);
    table.slots = static_cast<uint32_t*>(slots);
    table.slot_count = slot_count;
    enter_all(table);
    return true;
}

// Room for one more entry.
bool make_room(Table& table, HostPool* pool) noexcept {
    if (!table.slots) {
        if (table.count == 0 && !table.entries) return set_room(table, pool, kListed);
        return table.count < kListed || set_slots(table, pool, kFirstSlots);
    }
    return table.count * 2 < table.slot_count || set_slots(table, pool, table.slot_count * 2);
}

NQStatus set(NQDictionary* self, NQU8String* key, InstanceHeader* value) noexcept {
    if (!key) return NQ_STATUS_INVALID_ARGUMENT;
    Table& table = table_of(*self);
    const std::string_view text = text_of(*key);
    uint64_t mark = mark_of(table, text);
    if (Entry* entry = find_entry(table, text, mark)) {
        retain(value);
        drop(std::exchange(entry->value, value));
        return NQ_STATUS_OK;
    }
    const bool was_indexed = table.slots;
    if (!make_room(table, self->header.pool)) return NQ_STATUS_NO_MEMORY;
    if (table.slots && !was_indexed) mark = keyed_hash(text);
    retain(&key->header);
    retain(value);
    table.entries[table.count++] = {key, value, mark};
    if (table.slots) find_slot(table, text, mark) = static_cast<uint32_t>(table.count);
    return NQ_STATUS_OK;
}

// The entry of the key, which most often is the object that the entry holds.
Entry* find_listed(Table& table, const NQU8String* key) noexcept {
    const uint64_t expected = table.expected.load(std::memory_order_relaxed);
    Entry* const entry = expected < table.count && table.entries[expected].key == key
                             ? table.entries + expected
                             : find_entry(table, text_of(*key));
    if (entry && table.slots) {
        const auto next = static_cast<uint64_t>(entry - table.entries) + 1;
        table.expected.store(next, std::memory_order_relaxed);
    }
    return entry;
}

NQStatus get(NQDictionary* self, NQU8String* key, InstanceHeader** value) noexcept {
    if (!key) return NQ_STATUS_INVALID_ARGUMENT;
    const Entry* entry = find_listed(table_of(*self), key);
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
    for (uint64_t i = 0; i < table.count; ++i) {
        list->elements[i] = &table.entries[i].key->header;
        retain(list->elements[i]);
    }
    list->count = table.count;
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
    give_back(pool, table.entries);
    give_back(pool, table.slots);
    const NQStatus status = pool->free(pool, self);
    extension->handle.release(extension);
    return status;
}

NQStatus clone(InstanceHeader* self, HostPool* pool, uint32_t, InstanceHeader** out) noexcept;

constexpr ObjectKind kDictionaryKind = object_kind<"NQDictionary">(destroy, clone);

NQDictionary* make_dictionary(HostPool* pool, NQDictionaryApi* extension) noexcept {
    auto* dictionary = make_object<NQDictionary>(kDictionaryKind, pool);
    if (!dictionary) return nullptr;
    dictionary->extension = extension;
    dictionary->set = set;
    dictionary->get = get;
    dictionary->find = find;
    dictionary->listKeys = list_keys;
    new (dictionary->host) Table{};
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
    if (from.count &&
        !(from.slots ? set_slots(to, pool, from.slot_count) : set_room(to, pool, kListed))) {
        drop(&made->header);
        return NQ_STATUS_NO_MEMORY;
    }
    for (uint64_t i = 0; i < from.count; ++i) {
        to.entries[i] = from.entries[i];
        retain(&to.entries[i].key->header);
        retain(to.entries[i].value);
    }
    to.count = from.count;
    if (to.slots) enter_all(to);
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
