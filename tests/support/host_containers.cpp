#include "tests/support/host_containers.hpp"

#include <algorithm>
#include <cstring>

#include "nqinstance/host/status.h"
#include "tests/support/faults.hpp"

namespace nq::test {
namespace {

// A list of T in a block of a pool: the header of the block, then the items.
template <class T>
struct Items {
    std::uint64_t count;
    std::uint64_t capacity;
    T items[1];

    static Items* make(CheckingPool& pool, std::uint64_t capacity, BlockKind kind) {
        auto* list =
            static_cast<Items*>(pool.take(sizeof(Items) + capacity * sizeof(T), true, kind));
        if (list) list->capacity = capacity;
        return list;
    }

    // Adds an item; the list may move.
    static bool add(Items*& list, CheckingPool& pool, const T& item, BlockKind kind) {
        if (list->count == list->capacity) {
            Items* larger = make(pool, list->capacity * 2 + 1, kind);
            if (!larger) return false;
            larger->count = list->count;
            std::copy(list->items, list->items + list->count, larger->items);
            pool.give(list);
            list = larger;
        }
        list->items[list->count++] = item;
        return true;
    }
};

struct HostArray : NQArray {
    ArrayService* service;
    Items<InstanceHeader*>* list;
};

struct Entry {
    NQU8String* key;
    InstanceHeader* value;
};

// What a dictionary keeps in its own words; the rest of them are filled with a pattern that must
// survive a move.
constexpr std::size_t kServiceWord = 0;
constexpr std::size_t kEntriesWord = 1;
constexpr std::size_t kFirstPatternWord = 2;
constexpr std::uint64_t kPattern = 0xD1C70000u;

DictionaryService& service_of(NQDictionary* dictionary) {
    return *static_cast<DictionaryService*>(dictionary->host[kServiceWord]);
}

Items<Entry>*& entries(NQDictionary* dictionary) {
    return reinterpret_cast<Items<Entry>*&>(dictionary->host[kEntriesWord]);
}

void* pattern(std::size_t word) { return reinterpret_cast<void*>(kPattern + word); }

bool usable(NQDictionary* dictionary, const char* operation) {
    if (!HostCore::alive(dictionary, operation)) return false;
    for (std::size_t i = kFirstPatternWord; i < std::size(dictionary->host); ++i) {
        if (dictionary->host[i] == pattern(i)) continue;
        report_fault("a dictionary's own words were changed");
        return false;
    }
    return true;
}

// One call of a dictionary's operation: refused when it is gone or the plan says so.
NQStatus enter(NQDictionary* dictionary, Call call) {
    if (!usable(dictionary, call_name(call))) return NQ_STATUS_INVALID_ARGUMENT;
    return service_of(dictionary).core().plan.next(call);
}

Entry* find_entry(NQDictionary* dictionary, std::string_view key) {
    auto* list = entries(dictionary);
    auto* end = list->items + list->count;
    auto* found = std::find_if(list->items, end,
                               [&](const Entry& entry) { return text_of(entry.key) == key; });
    return found == end ? nullptr : found;
}

NQStatus append_item(NQArray* self, void* item, std::uint64_t) noexcept {
    if (!HostCore::alive(self, "array append")) return NQ_STATUS_INVALID_ARGUMENT;
    HostCore& core = static_cast<HostArray*>(self)->service->core();
    if (const NQStatus status = core.plan.next(Call::kArrayAppend)) return status;
    return ArrayService::add(self, static_cast<InstanceHeader*>(item)) ? NQ_STATUS_OK
                                                                       : NQ_STATUS_NO_MEMORY;
}

NQStatus release_array(void* self) noexcept {
    if (!HostCore::alive(self, "release")) return NQ_STATUS_INVALID_ARGUMENT;
    auto* array = static_cast<HostArray*>(self);
    const NQStatus status = array->service->core().plan.next(Call::kReleaseObject);
    drop_reference(&array->header);
    return status;
}

NQStatus destroy_array(InstanceHeader* self) noexcept {
    auto* array = reinterpret_cast<HostArray*>(self);
    CheckingPool& pool = CheckingPool::of(self->pool);
    for (std::uint64_t i = 0; i < array->list->count; ++i) drop_unplanned(array->list->items[i]);
    pool.give(array->list);
    pool.give(array);
    return NQ_STATUS_OK;
}

NQStatus clone_array(InstanceHeader* self, HostPool* pool, std::uint32_t,
                     InstanceHeader** out) noexcept {
    auto* array = reinterpret_cast<HostArray*>(self);
    if (const NQStatus status = array->service->core().plan.next(Call::kCloneObject)) return status;
    NQArray* clone = array->service->make(pool ? pool : self->pool);
    if (!clone) return NQ_STATUS_NO_MEMORY;
    for (std::uint64_t i = 0; i < array->count; ++i) {
        if (ArrayService::add(clone, array->elements[i])) continue;
        drop_reference(&clone->header);
        return NQ_STATUS_NO_MEMORY;
    }
    *out = &clone->header;
    return NQ_STATUS_OK;
}

NQStatus create_array(NQArrayApi* self, HostPool* pool, std::uint64_t zero,
                      NQArray** out) noexcept {
    auto& table = ExtensionTable<NQArrayApi, ArrayService>::of(self);
    table.core->check_use(Extension::kArray, "createArray");
    if (zero) report_fault("createArray with an argument that is not zero");
    if (const NQStatus status = table.core->plan.next(Call::kCreateArray)) return status;
    NQArray* array = table.service->make(pool);
    if (!array) return NQ_STATUS_NO_MEMORY;
    *out = array;
    return NQ_STATUS_OK;
}

NQStatus set(NQDictionary* self, NQU8String* key, InstanceHeader* value) noexcept {
    if (const NQStatus status = enter(self, Call::kDictionarySet)) return status;
    return DictionaryService::put(self, key, value) ? NQ_STATUS_OK : NQ_STATUS_NO_MEMORY;
}

NQStatus get(NQDictionary* self, NQU8String* key, InstanceHeader** value) noexcept {
    if (const NQStatus status = enter(self, Call::kDictionaryGet)) return status;
    Entry* entry = find_entry(self, text_of(key));
    if (!entry) return NQ_STATUS_INVALID_ARGUMENT;
    *value = entry->value;
    return NQ_STATUS_OK;
}

std::int32_t find(NQDictionary* self, const std::uint8_t* key, std::uint64_t length,
                  InstanceHeader** value) noexcept {
    if (!usable(self, "dictionary find")) return 0;
    Entry* entry = find_entry(self, {reinterpret_cast<const char*>(key), length});
    if (!entry) return 0;
    *value = entry->value;
    return 1;
}

NQStatus list_keys(NQDictionary* self, NQArray** keys) noexcept {
    if (const NQStatus status = enter(self, Call::kListKeys)) return status;
    DictionaryService& service = service_of(self);
    NQArray* list = service.arrays().make(self->header.pool);
    if (!list) return NQ_STATUS_NO_MEMORY;
    for (std::uint64_t i = 0; i < entries(self)->count; ++i) {
        if (ArrayService::add(list, &entries(self)->items[i].key->header)) continue;
        drop_reference(&list->header);
        return NQ_STATUS_NO_MEMORY;
    }
    *keys = list;
    return NQ_STATUS_OK;
}

NQStatus release_dictionary(void* self) noexcept {
    auto* dictionary = static_cast<NQDictionary*>(self);
    if (!usable(dictionary, "release")) return NQ_STATUS_INVALID_ARGUMENT;
    const NQStatus status = service_of(dictionary).core().plan.next(Call::kReleaseObject);
    drop_reference(&dictionary->header);
    return status;
}

NQStatus destroy_dictionary(InstanceHeader* self, std::uint64_t a, std::uint64_t b, std::uint64_t c,
                            std::uint64_t d, std::uint64_t e) noexcept {
    if (std::array{a, b, c, d, e} != kHookArguments) {
        report_fault("a dictionary's destroy operation did not get the arguments of its release");
    }
    auto* dictionary = reinterpret_cast<NQDictionary*>(self);
    CheckingPool& pool = CheckingPool::of(self->pool);
    for (std::uint64_t i = 0; i < entries(dictionary)->count; ++i) {
        const Entry& entry = entries(dictionary)->items[i];
        drop_unplanned(&entry.key->header);
        drop_unplanned(entry.value);
    }
    pool.give(entries(dictionary));
    pool.give(dictionary);
    return NQ_STATUS_OK;
}

NQStatus clone_dictionary(InstanceHeader* self, HostPool* pool, std::uint32_t,
                          InstanceHeader** out) noexcept {
    auto* dictionary = reinterpret_cast<NQDictionary*>(self);
    if (const NQStatus status = enter(dictionary, Call::kCloneObject)) return status;
    DictionaryService& service = service_of(dictionary);
    NQDictionary* clone = service.make(pool ? pool : self->pool);
    if (!clone) return NQ_STATUS_NO_MEMORY;
    for (std::uint64_t i = 0; i < entries(dictionary)->count; ++i) {
        const Entry& entry = entries(dictionary)->items[i];
        if (DictionaryService::put(clone, entry.key, entry.value)) continue;
        drop_reference(&clone->header);
        return NQ_STATUS_NO_MEMORY;
    }
    *out = &clone->header;
    return NQ_STATUS_OK;
}

NQStatus create_dictionary(NQDictionaryApi* self, HostPool* pool, void* null, NQDictionary** out,
                           NQDictionaryApi* self2) noexcept {
    auto& table = ExtensionTable<NQDictionaryApi, DictionaryService>::of(self);
    table.core->check_use(Extension::kDictionary, "createDictionary");
    if (null || self2 != self) report_fault("createDictionary with other arguments than it takes");
    FailurePlan& plan = table.core->plan;
    const NQStatus status = plan.next(Call::kCreateDictionary);
    if (status && !plan.delivers_with_failure()) return status;
    NQDictionary* dictionary = table.service->make(pool);
    if (!dictionary) return NQ_STATUS_NO_MEMORY;
    *out = dictionary;
    return status;
}

}  // namespace

ArrayService::ArrayService(HostCore& core) : core_(core) {
    table_.fill(Extension::kArray, *this, core);
    table_.createArray = create_array;
}

NQArray* ArrayService::make(HostPool* pool) {
    CheckingPool& memory = CheckingPool::of(pool);
    auto* array = static_cast<HostArray*>(memory.take(sizeof(HostArray), true, BlockKind::kArray));
    if (!array) return nullptr;
    fill_host_header(array->header, "NQArray", pool, release_array, destroy_array, clone_array);
    array->list = Items<InstanceHeader*>::make(memory, 0, BlockKind::kPlain);
    if (!array->list) {
        memory.give(array);
        return nullptr;
    }
    array->append = append_item;
    array->service = this;
    return array;
}

bool ArrayService::add(NQArray* self, InstanceHeader* item) {
    auto* array = static_cast<HostArray*>(self);
    CheckingPool& pool = CheckingPool::of(array->header.pool);
    if (!Items<InstanceHeader*>::add(array->list, pool, item, BlockKind::kPlain)) return false;
    retain(item);
    array->elements = array->list->items;
    array->count = array->list->count;
    return true;
}

DictionaryService::DictionaryService(HostCore& core, StringService& strings, ArrayService& arrays)
    : core_(core), arrays_(arrays) {
    table_.fill(Extension::kDictionary, *this, core);
    table_.createDictionary = create_dictionary;
    table_.strings = strings.table();
}

NQDictionary* DictionaryService::make(HostPool* pool) {
    CheckingPool& memory = CheckingPool::of(pool);
    auto* dictionary =
        static_cast<NQDictionary*>(memory.take(sizeof(NQDictionary), true, BlockKind::kPlain));
    if (!dictionary) return nullptr;
    fill_host_header(dictionary->header, "NQDictionary", pool, release_dictionary,
                     reinterpret_cast<decltype(InstanceHeader::destroyHook)>(
                         reinterpret_cast<void*>(destroy_dictionary)),
                     clone_dictionary);
    // The block of the entries stands for the dictionary, which may itself move.
    auto* list = Items<Entry>::make(memory, 0, BlockKind::kDictionary);
    if (!list) {
        memory.give(dictionary);
        return nullptr;
    }
    dictionary->set = set;
    dictionary->get = get;
    dictionary->find = find;
    dictionary->listKeys = list_keys;
    dictionary->host[kServiceWord] = this;
    for (std::size_t i = kFirstPatternWord; i < std::size(dictionary->host); ++i) {
        dictionary->host[i] = pattern(i);
    }
    entries(dictionary) = list;
    return dictionary;
}

bool DictionaryService::put(NQDictionary* dictionary, NQU8String* key, InstanceHeader* value) {
    if (Entry* entry = find_entry(dictionary, text_of(key))) {
        retain(value);
        drop_unplanned(std::exchange(entry->value, value));
        return true;
    }
    CheckingPool& pool = CheckingPool::of(dictionary->header.pool);
    if (!Items<Entry>::add(entries(dictionary), pool, {key, value}, BlockKind::kDictionary)) {
        return false;
    }
    retain(&key->header);
    retain(value);
    return true;
}

std::vector<std::pair<std::string, InstanceHeader*>> entries_of(NQDictionary* dictionary) {
    std::vector<std::pair<std::string, InstanceHeader*>> result;
    for (std::uint64_t i = 0; i < entries(dictionary)->count; ++i) {
        const Entry& entry = entries(dictionary)->items[i];
        result.emplace_back(text_of(entry.key), entry.value);
    }
    return result;
}

InstanceHeader* value_of(NQDictionary* dictionary, std::string_view key) {
    Entry* entry = find_entry(dictionary, key);
    return entry ? entry->value : nullptr;
}

}  // namespace nq::test
