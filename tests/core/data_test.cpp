// Data blobs.
#include <cstring>

#include "tests/core/core_support.hpp"

namespace nq::test {
namespace {

class DataAbi : public CoreTest {
  protected:
    NQData* create(const void* source, std::uint64_t length, std::uint8_t copy,
                   std::uint8_t take_ownership) {
        return NQ_LIBRARY(nqDataCreate)(api(), pool(), source, length, copy, take_ownership,
                                        &status);
    }
    NQData* sized(std::uint64_t size) {
        return NQ_LIBRARY(nqDataCreateSized)(api(), pool(), size, &status);
    }
    NQData* clone_of(NQData* source, HostPool* target) {
        InstanceHeader* clone = nullptr;
        EXPECT_EQ(source->header.clone(&source->header, target, 0, &clone), NQ_STATUS_OK);
        return reinterpret_cast<NQData*>(clone);
    }
};

std::string content(const NQData* data) {
    return {reinterpret_cast<const char*>(data->bytes), data->length};
}

TEST_F(DataAbi, HasItsHeaderAndOperations) {
    for (NQData* data : {create("abc", 3, 1, 0), sized(3)}) {
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(status, NQ_STATUS_OK);
        expect_header(data->header,
                      {"NQData", library_symbol("nqDataDestroy"), library_symbol("nqDataClone")},
                      api(), pool());
        EXPECT_EQ(data->encodeBase64, NQ_LIBRARY(nqDataEncodeBase64U8));
        EXPECT_EQ(data->encodeBase64URL, NQ_LIBRARY(nqDataEncodeBase64URLU8));
        EXPECT_EQ(data->resize, NQ_LIBRARY(nqDataResize));
        EXPECT_EQ(data->wipeOnDestroy, 0);
        release(data);
    }
}

TEST_F(DataAbi, CopiesItsSource) {
    SpyPool spy(pool());
    char source[] = {'a', '\0', 'c'};
    NQData* data = NQ_LIBRARY(nqDataCreate)(api(), spy.table(), source, 3, 7, 0, &status);
    EXPECT_EQ(spy.requests, (std::vector<SpyPool::Request>{{144, 0}, {3, 0}}));
    source[0] = 'x';
    EXPECT_EQ(content(data), std::string("a\0c", 3));
    EXPECT_EQ(data->capacity, 3u);
    EXPECT_EQ(data->owned, 1);
    void* const buffer = data->bytes;
    release(data);
    EXPECT_EQ(spy.freed, (std::vector<void*>{buffer, data}));
}

TEST_F(DataAbi, BorrowsItsSource) {
    std::uint8_t source[] = {1, 2, 3};
    SpyPool spy(pool());
    NQData* data = NQ_LIBRARY(nqDataCreate)(api(), spy.table(), source, 3, 0, 0, &status);
    EXPECT_EQ(data->bytes, source);
    EXPECT_EQ(data->length, 3u);
    EXPECT_EQ(data->capacity, 3u);
    EXPECT_EQ(data->owned, 0);
    release(data);
    EXPECT_EQ(spy.freed, (std::vector<void*>{data}));
    EXPECT_EQ(source[2], 3);
}

TEST_F(DataAbi, TakesItsSourceOver) {
    void* source = pool()->alloc(pool(), 5, 0);
    NQData* data = create(source, 5, 0, 1);
    EXPECT_EQ(data->bytes, source);
    EXPECT_EQ(data->owned, 1);
    EXPECT_EQ(NQ_LIBRARY(nqDataResize)(data, 6, 0), NQ_STATUS_OK);
    release(data);
    EXPECT_EQ(host.checked_pool().blocks(), 0u);
}

TEST_F(DataAbi, OwnedOtherThanOneIsNotFreed) {
    void* source = pool()->alloc(pool(), 5, 0);
    NQData* data = create(source, 5, 0, 2);
    EXPECT_EQ(data->owned, 2);
    release(data);
    EXPECT_TRUE(host.checked_pool().has(source));
    pool()->free(pool(), source);
}

TEST_F(DataAbi, NoSourceOrNoLengthIsEmpty) {
    for (const std::uint8_t copy : std::initializer_list<std::uint8_t>{0, 1}) {
        for (const std::uint8_t take : std::initializer_list<std::uint8_t>{0, 1}) {
            for (NQData* data : {create(nullptr, 9, copy, take), create("abc", 0, copy, take)}) {
                ASSERT_NE(data, nullptr);
                EXPECT_EQ(data->bytes, nullptr);
                EXPECT_EQ(data->length, 0u);
                EXPECT_EQ(data->capacity, 0u);
                EXPECT_EQ(data->owned, 0);
                release(data);
            }
        }
    }
}

TEST_F(DataAbi, SizedOwnsItsBytes) {
    SpyPool spy(pool());
    NQData* data = NQ_LIBRARY(nqDataCreateSized)(api(), spy.table(), 40, &status);
    EXPECT_EQ(spy.requests, (std::vector<SpyPool::Request>{{144, 0}, {40, 0}}));
    EXPECT_EQ(data->length, 40u);
    EXPECT_EQ(data->capacity, 40u);
    EXPECT_EQ(data->owned, 1);
    release(data);

    NQData* empty = sized(0);
    EXPECT_EQ(empty->bytes, nullptr);
    EXPECT_EQ(empty->length, 0u);
    EXPECT_EQ(empty->capacity, 0u);
    EXPECT_EQ(empty->owned, 1);
    EXPECT_EQ(empty->resize(empty, 8, 1), NQ_STATUS_OK) << "it can be given a buffer";
    EXPECT_EQ(std::memcmp(empty->bytes, "\0\0\0\0\0\0\0\0", 8), 0);
    release(empty);
}

TEST_F(DataAbi, ResizeChangesTheRoomAlone) {
    NQData* data = create("abcde", 5, 1, 0);
    EXPECT_EQ(data->resize(data, 5, 0), NQ_STATUS_OK);
    EXPECT_EQ(data->resize(data, 4, 0), NQ_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(data->capacity, 5u);
    EXPECT_EQ(data->resize(data, 10, 1), NQ_STATUS_OK);
    EXPECT_EQ(data->capacity, 10u);
    EXPECT_EQ(content(data), "abcde");
    EXPECT_EQ(std::memcmp(data->bytes, "abcde\0\0\0\0\0", 10), 0);
    EXPECT_EQ(data->resize(data, 7, 0), NQ_STATUS_OK) << "down to what the content needs";
    EXPECT_EQ(data->capacity, 7u);
    EXPECT_EQ(content(data), "abcde");
    release(data);
}

TEST_F(DataAbi, ResizeAsksForZeroesOnlyWhenToldExactlyOne) {
    SpyPool spy(pool());
    NQData* data = NQ_LIBRARY(nqDataCreateSized)(api(), spy.table(), 1, &status);
    for (const std::uint8_t flag : std::initializer_list<std::uint8_t>{0, 1, 2, 255}) {
        data->resize(data, 9, flag);
        EXPECT_EQ(spy.requests.back(), (SpyPool::Request{9, flag == 1 ? ALLOC_ZERO_FILL : 0}));
    }
    release(data);
}

TEST_F(DataAbi, ABorrowingBlobRefusesEverySize) {
    NQData* data = create("abc", 3, 0, 0);
    for (const std::uint64_t size :
         {std::uint64_t{0}, std::uint64_t{2}, std::uint64_t{3}, std::uint64_t{100}, UINT64_MAX}) {
        EXPECT_EQ(data->resize(data, size, 0), NQ_STATUS_INVALID_ARGUMENT);
    }
    EXPECT_EQ(content(data), "abc");
    EXPECT_EQ(data->capacity, 3u);
    release(data);
}

TEST_F(DataAbi, AFailedResizeLeavesTheBlob) {
    NQData* data = create("abc", 3, 1, 0);
    const std::uint8_t* bytes = data->bytes;
    EXPECT_EQ(data->resize(data, UINT64_MAX, 1), NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(data->bytes, bytes);
    EXPECT_EQ(data->capacity, 3u);
    EXPECT_EQ(content(data), "abc");
    release(data);
}

TEST_F(DataAbi, AFailedBufferTakesTheBlobWithIt) {
    CheckingPool& small = host.make_pool("small", 144 + 10);
    EXPECT_EQ(NQ_LIBRARY(nqDataCreate)(api(), small.table(), "0123456789", 11, 1, 0, &status),
              nullptr);
    EXPECT_EQ(status, NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(small.blocks(), 0u);
    status = 0x1234;
    EXPECT_EQ(NQ_LIBRARY(nqDataCreateSized)(api(), small.table(), 11, &status), nullptr);
    EXPECT_EQ(status, NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(small.blocks(), 0u);

    NQData* source = sized(11);
    auto* clone = &source->header;
    EXPECT_EQ(NQ_LIBRARY(nqDataClone)(&source->header, small.table(), 0, &clone),
              NQ_STATUS_NO_MEMORY);
    EXPECT_EQ(clone, nullptr);
    EXPECT_EQ(small.blocks(), 0u);
    release(source);
}

TEST_F(DataAbi, ACloneOwnsACopyInTheGivenPool) {
    CheckingPool& other = host.make_pool("other");
    std::uint8_t source[] = {1, 2, 3};
    NQData* borrowing = create(source, 3, 0, 0);
    borrowing->wipeOnDestroy = 1;
    SpyPool spy(other.table());
    NQData* clone = clone_of(borrowing, spy.table());
    EXPECT_EQ(spy.requests, (std::vector<SpyPool::Request>{{144, ALLOC_ZERO_FILL}, {3, 0}}));
    EXPECT_EQ(clone->header.pool, spy.table());
    EXPECT_EQ(clone->header.refCount, 1u);
    EXPECT_NE(clone->bytes, source);
    EXPECT_EQ(content(clone), content(borrowing));
    EXPECT_EQ(clone->capacity, 3u);
    EXPECT_EQ(clone->owned, 1);
    EXPECT_EQ(clone->wipeOnDestroy, 1) << "carried over";
    EXPECT_EQ(clone->encodeBase64, borrowing->encodeBase64);
    EXPECT_EQ(clone->encodeBase64URL, borrowing->encodeBase64URL);
    EXPECT_EQ(clone->resize, borrowing->resize);
    release(borrowing);
    release(clone);
    EXPECT_EQ(other.blocks(), 0u);
}

TEST_F(DataAbi, ACloneKeepsTheCapacityOrTakesTheLength) {
    NQData* data = create("abcde", 5, 1, 0);
    data->resize(data, 64, 0);
    NQData* clone = clone_of(data, pool());
    EXPECT_EQ(clone->capacity, 64u);
    EXPECT_EQ(content(clone), "abcde");
    release(clone);
    data->capacity = 0;
    clone = clone_of(data, pool());
    EXPECT_EQ(clone->capacity, 5u);
    EXPECT_EQ(content(clone), "abcde");
    release(clone);
    // Room without content.
    data->capacity = 16;
    data->length = 0;
    clone = clone_of(data, pool());
    EXPECT_EQ(clone->capacity, 16u);
    EXPECT_EQ(clone->length, 0u);
    EXPECT_NE(clone->bytes, nullptr);
    EXPECT_EQ(clone->owned, 1);
    release(clone);
    release(data);
}

TEST_F(DataAbi, ACloneOfAnEmptyBlobOwnsNothing) {
    NQData* empty = sized(0);
    NQData* clone = clone_of(empty, pool());
    EXPECT_EQ(clone->bytes, nullptr);
    EXPECT_EQ(clone->owned, 0) << "unlike its source";
    EXPECT_EQ(clone->capacity, 0u);
    EXPECT_EQ(clone->resize(clone, 1, 0), NQ_STATUS_INVALID_ARGUMENT);
    release(clone);
    release(empty);
}

TEST_F(DataAbi, WipesItsContentBeforeFreeingIt) {
    for (const std::uint8_t wipe : std::initializer_list<std::uint8_t>{0, 1, 5}) {
        SpyPool spy(pool());
        NQData* data = NQ_LIBRARY(nqDataCreate)(api(), spy.table(), "secret", 6, 1, 0, &status);
        data->resize(data, 8, 1);
        data->bytes[6] = 'x';  // beyond the length: not content
        data->wipeOnDestroy = wipe;
        spy.watched = data->bytes;
        spy.watched_bytes = 7;
        release(data);
        EXPECT_EQ(spy.content, wipe ? std::string("\0\0\0\0\0\0x", 7) : "secretx") << int{wipe};
    }
}

TEST_F(DataAbi, WipesBorrowedBytesToo) {
    std::uint8_t source[] = {1, 2, 3, 4};
    NQData* data = create(source, 3, 0, 0);
    data->wipeOnDestroy = 1;
    release(data);
    EXPECT_EQ(std::memcmp(source, "\0\0\0\4", 4), 0);
}

TEST_F(DataAbi, TheHookReturnsThePoolsStatusOfTheFree) {
    NQData* data = create("abc", 3, 1, 0);
    host.plan().clear();
    host.plan().fail(Call::kFree, 1, 0x4321);
    EXPECT_EQ(NQ_LIBRARY(nqDataDestroy)(&data->header), 0x4321u);
}

TEST_F(DataAbi, EncodesBothAlphabets) {
    const HostState before = host.state();
    NQData* data = create("\xFB\xFF\xFEz", 4, 1, 0);
    NQU8String* text = nullptr;
    EXPECT_EQ(data->encodeBase64(data, &text, 0, 0), NQ_STATUS_OK);
    EXPECT_EQ(text_of(text), "+//+eg==");
    EXPECT_EQ(text->header.pool, pool());
    release(text);
    EXPECT_EQ(data->encodeBase64URL(data, &text, 0, 0), NQ_STATUS_OK);
    EXPECT_EQ(text_of(text), "-__-eg==");
    release(text);
    release(data);
    EXPECT_EQ(host.state(), before) << "the string extension is held no longer";
}

TEST_F(DataAbi, EncodesAnEmptyBlob) {
    NQData* empty = sized(0);
    NQU8String* text = nullptr;
    EXPECT_EQ(empty->encodeBase64(empty, &text, 0, 0), NQ_STATUS_OK);
    EXPECT_EQ(text_of(text), "");
    release(text);
    release(empty);
}

// The options and the out pointer go to the string service as they came.
TEST_F(DataAbi, HandsTheOptionsOn) {
    static std::uint32_t options[2];
    static NQU8String** out_seen;
    NQStringApi* strings = host.strings.table();
    const auto saved = strings->base64EncodeU8;
    strings->base64EncodeU8 = [](NQStringApi*, const std::uint8_t*, std::uint64_t, HostPool*,
                                 NQU8String** out, std::uint32_t option1,
                                 std::uint32_t option2) noexcept -> NQStatus {
        options[0] = option1;
        options[1] = option2;
        out_seen = out;
        return 0x777;
    };
    NQData* data = create("abc", 3, 1, 0);
    NQU8String* text = nullptr;
    EXPECT_EQ(data->encodeBase64(data, &text, 0xFFFFFFFF, 5), 0x777u);
    EXPECT_EQ(options[0], 0xFFFFFFFFu);
    EXPECT_EQ(options[1], 5u);
    EXPECT_EQ(out_seen, &text);
    strings->base64EncodeU8 = saved;
    release(data);
}

TEST_F(DataAbi, WithoutTheStringExtensionNothingIsEncoded) {
    NQData* data = create("abc", 3, 1, 0);
    NQU8String* text = nullptr;
    host.plan().fail(Call::kLoadExtension, 0, 1, true);
    EXPECT_EQ(data->encodeBase64(data, &text, 0, 0), NQ_STATUS_NO_EXTENSION);
    EXPECT_EQ(data->encodeBase64URL(data, &text, 0, 0), NQ_STATUS_NO_EXTENSION);
    EXPECT_EQ(text, nullptr);
    host.plan().clear();
    release(data);
}

}  // namespace
}  // namespace nq::test
