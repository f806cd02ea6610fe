#include "runtime/managed.hpp"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/support/boot.hpp"

using namespace runtime;
using namespace runtime::literals;
using test_support::boot;
using test_support::run_with_env;

namespace {

struct Geom {
    int32_t x = 0, y = 0;
    Member<Text> label;  // a reference nested in a value field
};

struct Item {
    NOLT_MANAGED(Item, void);
    Member<Item> next;
    int64_t number = 0;
    Member<Text> name;
};

struct Shape {
    NOLT_MANAGED(Shape, void);
    virtual int corners() const { return 0; }
    Member<Text> title;
    Geom geom;
};

struct Square : Shape {
    NOLT_MANAGED(Square, Shape);
    int corners() const override { return 4; }
    Member<Square> twin;
    Member<Text> notes[2];
};

// A sum value: the tag first, each variant's references at their own places.
struct Maybe {
    static constexpr int nolt_variants = 2;
    int32_t tag = 0;
    Member<Text> value;
};

// Builds a list of `count` items, newest first, whose names spell their numbers.
Root<Item> build_list(int64_t count) {
    Root<Item> head;
    for (int64_t i = 0; i < count; i++) {
        Root<Item> item = make<Item>();
        item->number = i;
        item->name = make_text(("item " + std::to_string(i)).c_str());
        item->next = head;
        head = std::move(item);
    }
    return head;
}

void expect_list(const Root<Item>& head, int64_t count) {
    int64_t expected = count;
    for (Root<Item> at = head; at; at = at->next) {
        expected--;
        ASSERT_EQ(at->number, expected);
        std::string name = "item " + std::to_string(expected);
        ASSERT_TRUE(at->name->equals(name.c_str())) << at->name->c_str();
    }
    EXPECT_EQ(expected, 0);
}

}  // namespace

// Every reference field, inherited, nested in a value field or in a field array, is traced.
TEST(Managed, EveryFieldKeepsItsReferentAcrossCollections) {
    boot();
    Root<Square> square = make<Square>();
    square->title = make_text("title");
    square->geom.label = make_text("label");
    square->notes[1] = make_text("note");
    square->twin = make<Square>();
    square->twin->title = make_text("twin");
    for (int i = 0; i < 5; i++) nolt_heaps_gc();
    EXPECT_TRUE(square->title->equals("title") && square->geom.label->equals("label"));
    EXPECT_TRUE(square->notes[1]->equals("note") && square->twin->title->equals("twin"));
    EXPECT_EQ(nolt_heaps_get_gc_stats()->marked, 6u);  // the pointer table misses no field
    Root<Shape> shape = square;
    EXPECT_TRUE(shape->corners() == 4 && is<Shape>(shape) && !is<Item>(shape));
    EXPECT_EQ(as<Square>(shape)->corners(), 4);
    EXPECT_FALSE(as<Square>(Root<Shape>()));
    EXPECT_DEATH(as<Square>(make<Shape>()), "FATAL: a Shape used as a Square");
}

TEST(Managed, ArraysOfValuesReferencesAndSumValues) {
    boot();
    auto numbers = Array<int32_t>::make(4);
    auto items = Array<Member<Item>>::make(3);
    auto maybes = Array<Maybe>::make(3);
    for (int i = 0; i < 4; i++) (*numbers)[i] = i * i;
    for (int i = 0; i < 3; i++) (*items)[i] = build_list(i + 1);
    (*maybes)[1].tag = 1;
    (*maybes)[1].value = make_text("some");
    (*maybes)[2].tag = 7;  // a tag outside the table is skipped, not followed
    for (int i = 0; i < 3; i++) nolt_heaps_gc();
    EXPECT_TRUE(numbers->size() == 4u && (*numbers)[3] == 9);
    for (int i = 0; i < 3; i++) expect_list((*items)[i], i + 1);
    EXPECT_TRUE((*maybes)[1].value->equals("some"));
}

namespace {
Global<Item> g_item;
Global<Item> g_unregistered;
}  // namespace

TEST(Managed, GlobalsAreRootsOnceRegistered) {
    boot();
    g_item.register_root();
    g_item = build_list(3);
    for (int i = 0; i < 3; i++) nolt_heaps_gc();
    expect_list(g_item, 3);
    EXPECT_DEATH(g_unregistered = make<Item>(), "assigned before it was registered as a root");
}

// Handles made and dropped in every order C++ allows, with a collection at every allocation
// and every dead block poisoned.
TEST(Managed, HandlesSurviveReturnsTemporariesMovesAndContainersUnderTorture) {
    run_with_env({{"NOLT_GC_TORTURE", "1"}, {"NOLT_GC_VERIFY", "1"}}, [] {
        Root<Item> returned = build_list(20);
        expect_list(returned, 20);
        EXPECT_EQ(build_list(5)->next->number, 3);  // a temporary used within its expression

        std::vector<std::pair<Root<Item>, int64_t>> lists;  // each list with its length
        for (int64_t i = 0; i < 40; i++) lists.emplace_back(build_list(i % 4 + 1), i % 4 + 1);  // reallocates often
        lists.erase(lists.begin() + 3, lists.begin() + 17);  // handles dropped out of order
        auto moved = std::move(lists[5]);
        lists[5] = {build_list(2), 2};
        auto copied = lists[0];
        lists.insert(lists.begin(), {build_list(3), 3});
        lists.push_back(moved);
        lists.push_back(copied);
        for (auto& [list, length] : lists) expect_list(list, length);
        EXPECT_GT(nolt_heaps_get_gc_stats()->collections, 250u);
    });
}

TEST(Managed, VerificationPoisonsDeadBlocksAndCatchesAnEscapedReference) {
    run_with_env({{"NOLT_GC_VERIFY", "1"}}, [] {
        Item* raw = make<Item>().get();  // the handle dies at the end of the statement
        nolt_heaps_gc();
        EXPECT_FALSE(nolt_heaps_is_live(raw));
        EXPECT_EQ(*(uint64_t*)&raw->number, 0xdbdbdbdbdbdbdbdbull);
    });
    EXPECT_DEATH(
        {
            setenv("NOLT_GC_VERIFY", "1", 1);
            boot();
            Item* raw = make<Item>().get();
            nolt_heaps_gc();
            Root<Item> escaped(raw);
            escaped->number = 1;
        },
        "refers to a reclaimed block");
}

// Several registered threads build and check linked structures while collections stop them.
TEST(Managed, ThreadsAllocatingConcurrentlyKeepEveryReachableByte) {
    boot();
    constexpr int kThreads = 4;
    const int rounds = test_support::torture() ? 40 : 3000;
    std::vector<std::thread> threads;
    uint64_t before = nolt_heaps_get_gc_stats()->collections;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([t, rounds] {
            nolt_objects_register_spawn();
            {
                Root<Item> keep = build_list(50);
                for (int round = 0; round < rounds && !testing::Test::HasFailure(); round++) {
                    expect_list(build_list(20 + (round + t) % 30), 20 + (round + t) % 30);
                    if (round % 50 == 0) expect_list(keep, 50);
                }
            }
            nolt_objects_deregister_spawn();
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_GE(nolt_heaps_get_gc_stats()->collections - before, 10u);  // concurrent triggers coalesce, more so under load
    EXPECT_TRUE(nolt_heaps_validate());
}
