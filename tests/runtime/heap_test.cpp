#include <gtest/gtest.h>

#include "runtime/heaps.hpp"
#include "tests/support/boot.hpp"

using test_support::boot;
using test_support::run_with_env;

namespace {

nolt_type make_type(uint64_t size, const char* name = "T", const nolt_type* parent = nullptr) {
    nolt_type t{};
    t.size = size;
    t.name = name;
    t.parent = parent;
    return t;
}

uint64_t block_size(void* reference) { return nolt_block_of(reference)->block_size; }

}  // namespace

TEST(Heap, BlockSizesRoundPayloadPlusHeaderToSixtyFour) {
    boot();
    nolt_type t16 = make_type(16), t17 = make_type(17), t81 = make_type(81);
    EXPECT_EQ(block_size(nolt_heaps_new_object(&t16)), 64u);
    EXPECT_EQ(block_size(nolt_heaps_new_object(&t17)), 128u);
    EXPECT_EQ(block_size(nolt_heaps_new_object(&t81)), 192u);
    EXPECT_EQ(block_size(nolt_heaps_new_array(8, 0)), 64u);
    EXPECT_EQ(block_size(nolt_heaps_new_array(1, 1000)), 1088u);
    void* array = nolt_heaps_new_ptr_array(3);
    EXPECT_EQ(nolt_block_of(array)->array_length, 3u);
    EXPECT_EQ(nolt_block_of(array)->flags, (uint32_t)NOLT_FLAG_POINTER_ARRAY);
    EXPECT_EQ(nolt_block_of(array)->type, &array_type_sentinel);
}

TEST(Heap, FirstAllocationCollectsAndCarvesAFirstRegion) {
    SKIP_UNDER_TORTURE();
    boot();
    EXPECT_EQ(nolt_machine_get_memory_blocks(), nullptr);
    nolt_type t = make_type(16);
    void* first = nolt_heaps_new_object(&t);
    EXPECT_EQ(nolt_heaps_get_gc_stats()->collections, 1u);
    nolt_region* region = nolt_machine_get_memory_blocks();
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(region->next, nullptr);
    EXPECT_EQ(region->total_size, 67108864u);
    EXPECT_EQ((void*)region->first_block, (void*)nolt_block_of(first));
    // The rest of the region was split off and listed in the last class; the next object follows.
    nolt_block* rest = nolt_heaps_free_list_head(15);
    ASSERT_NE(rest, nullptr);
    EXPECT_EQ(rest->block_size, 67108864u - 64 - 64);
    void* second = nolt_heaps_new_object(&t);
    EXPECT_EQ((char*)second - (char*)first, 64);
    EXPECT_TRUE(nolt_heaps_validate());
}

TEST(Heap, RegionSizeSwitch) {
    run_with_env({{"NOLT_HEAP_BLOCK_SIZE", "100"}}, [] {
        nolt_type t = make_type(16);
        nolt_heaps_new_object(&t);
        EXPECT_EQ(nolt_machine_get_memory_blocks()->total_size, 67108864u);
    });
    run_with_env({{"NOLT_HEAP_BLOCK_SIZE", "128"}}, [] {
        nolt_type t = make_type(16);
        nolt_heaps_new_object(&t);
        EXPECT_EQ(nolt_machine_get_memory_blocks()->total_size, 69632u);  // 65536 + 64 in whole pages
        // A request beyond the small regions gets a region of its own size.
        void* big = nolt_heaps_new_array(1, 100000);
        EXPECT_GE(block_size(big), 100048u);
        EXPECT_TRUE(nolt_heaps_validate());
        nolt_machine_cleanup();  // gives back every region
        EXPECT_EQ(nolt_machine_get_memory_blocks(), nullptr);
    });
}

TEST(Heap, BadRequestsStopOrFailWithTheirWords) {
    boot();
    EXPECT_DEATH(nolt_heaps_new_array(1, (uint64_t)-1),
                 "Invalid array size in nolt_heaps_new_array \\(count=-1, elem_size=1\\)\n.*BUG-056 guard");
    EXPECT_DEATH(nolt_heaps_new_array(1u << 20, 1ull << 50), "Invalid array size");
    EXPECT_DEATH(nolt_heaps_new_ptr_array(1u << 23),  // a block the collector could not keep alive
                 "\\[Heaps\\] FATAL: Out of memory in nolt_heaps_new_ptr_array \\(requested 67108928 bytes\\)");
    testing::internal::CaptureStderr();
    EXPECT_EQ(nolt_heaps_new_object(nullptr), nullptr);
    nolt_type empty = make_type(0);
    EXPECT_EQ(nolt_heaps_new_object(&empty), nullptr);
    EXPECT_EQ(nolt_heaps_new_enum_array(nullptr, 4), nullptr);
    nolt_heaps_init();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "[Heaps] ERROR: Invalid type descriptor\n"
              "[Heaps] ERROR: Invalid type descriptor\n"
              "[Heaps] ERROR: nolt_heaps_new_enum_array: NULL or zero-size element type\n"
              "[Heaps] WARNING: Already initialized\n");
}

TEST(Heap, UseBeforeInitGivesNull) {
    EXPECT_EXIT(
        {
            nolt_type t = make_type(8);
            exit(nolt_heaps_new_object(&t) == nullptr ? 0 : 1);
        },
        testing::ExitedWithCode(0), "^\\[Heaps\\] ERROR: Heap not initialized\n$");
}

TEST(Heap, TypeQueriesFollowTheParentChain) {
    boot();
    nolt_type base = make_type(8, "View"), button = make_type(16, "Button", &base), label = make_type(16, "Label", &base);
    nolt_type unnamed = make_type(8, nullptr);
    void* b = nullptr;
    test_support::Frame frame(&b);
    b = nolt_heaps_new_object(&button);
    EXPECT_TRUE(nolt_type_is(b, &base) && nolt_type_is(b, &button) && !nolt_type_is(b, &label));
    EXPECT_FALSE(nolt_type_is(nullptr, &base) || nolt_type_is(b, nullptr));
    EXPECT_TRUE(nolt_type_as(b, &base) == b && nolt_type_id(b) == &button);
    EXPECT_STREQ(nolt_type_name_raw(b), "Button");
    EXPECT_STREQ(nolt_type_name_raw(nullptr), "nil");
    EXPECT_STREQ(nolt_type_name_raw(nolt_heaps_new_object(&unnamed)), "<unnamed>");
    EXPECT_STREQ((const char*)nolt_type_name(b), "Button");
    EXPECT_EXIT(nolt_type_as(b, &label), testing::ExitedWithCode(1),
                "\\[TypeAs\\] ERROR: Type assertion failed - expected Label, got Button");
    EXPECT_EXIT(nolt_type_as(nullptr, &label), testing::ExitedWithCode(1), "\\[TypeAs\\] ERROR: Cannot cast nil to Label");
}

TEST(Heap, ValidateReportsACorruptedHeader) {
    boot();
    nolt_type t = make_type(16);
    void* object = nolt_heaps_new_object(&t);
    EXPECT_TRUE(nolt_heaps_validate());
    nolt_block_of(object)->mark = nolt_heaps_current_mark_value() + 5;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(nolt_heaps_validate());
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("[Validate] ERROR: Mark value too high at"), std::string::npos) << out;
    EXPECT_NE(out.find("[Validate] Heap statistics:\n  Total blocks: 2\n"), std::string::npos) << out;
}
