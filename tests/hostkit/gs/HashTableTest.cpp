// HashTableTest.cpp: GS::HashTable against a straightforward model of its documented behaviour,
// and its bucket counts.
#include "hostkit/GSHashTable.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <utility>
#include <vector>

namespace {

using Table = GS::HashTable<int32_t, int32_t>;
using Pairs = std::vector<std::pair<int32_t, int32_t>>;

// The bucket counts as the table's documentation lists them, written out independently.
const std::vector<GS::USize> kCapacities = {
    17,    37,    79,    163,    331,    673,    1361,    2729,    5471,    10949,
    21911, 43853, 87719, 175447, 350899, 701819, 1403641, 2807303, 5614657,
};

GS::USize ModelNextCapacity(GS::USize capacity) {
    for (const GS::USize candidate : kCapacities) {
        if (candidate > capacity) {
            return candidate;
        }
    }
    ADD_FAILURE() << "the model has no capacity above " << capacity;
    return capacity;
}

// Chains as vectors with the head first; everything else as the documentation says.
class Model {
public:
    Model(double collisionThreshold, double loadThreshold)
        : collisionThreshold(collisionThreshold), loadThreshold(loadThreshold) {
        Clear();
    }

    bool Add(int32_t key, int32_t value) {
        if (Find(key) != nullptr) {
            return false;
        }
        Insert(key, value);
        Grow();
        return true;
    }
    void Put(int32_t key, int32_t value) {
        if (auto* found = Find(key)) {
            found->second = value;
            return;
        }
        Insert(key, value);
        Grow();
    }
    bool Delete(int32_t key) {
        auto& chain = chains[Bucket(key, chains.size())];
        for (auto it = chain.begin(); it != chain.end(); ++it) {
            if (it->first == key) {
                chain.erase(it);
                --size;
                return true;
            }
        }
        return false;
    }
    void Clear() {
        chains.assign(kCapacities.front(), {});
        size = 0;
        collisionSum = 0;
    }

    Pairs StorageOrder() const {
        Pairs pairs;
        for (const auto& chain : chains) {
            pairs.insert(pairs.end(), chain.begin(), chain.end());
        }
        return pairs;
    }
    std::size_t Size() const { return size; }
    std::size_t Capacity() const { return chains.size(); }
    double CollisionFigure() const {
        return size == 0 ? 0.0 : static_cast<double>(collisionSum) / static_cast<double>(size);
    }

private:
    static std::size_t Bucket(int32_t key, std::size_t capacity) {
        return static_cast<uint32_t>(key) % capacity;
    }
    std::pair<int32_t, int32_t>* Find(int32_t key) {
        for (auto& pair : chains[Bucket(key, chains.size())]) {
            if (pair.first == key) {
                return &pair;
            }
        }
        return nullptr;
    }
    void Insert(int32_t key, int32_t value) {
        auto& chain = chains[Bucket(key, chains.size())];
        collisionSum += chain.size();
        chain.insert(chain.begin(), {key, value});
        ++size;
    }
    void Grow() {
        const double load = static_cast<double>(size) / static_cast<double>(chains.size());
        if (load < loadThreshold || CollisionFigure() <= collisionThreshold) {
            return;
        }
        const Pairs pairs = StorageOrder();
        chains.assign(ModelNextCapacity(static_cast<GS::USize>(chains.size())), {});
        size = 0;
        collisionSum = 0;
        for (const auto& [key, value] : pairs) {
            Insert(key, value);
        }
    }

    std::vector<Pairs> chains;
    std::size_t size = 0;
    uint64_t collisionSum = 0;
    double collisionThreshold;
    double loadThreshold;
};

template <typename HashTable> Pairs Iterate(const HashTable& table) {
    Pairs pairs;
    for (const auto& entry : table) {
        pairs.emplace_back(entry.key, entry.value);
    }
    return pairs;
}

void ExpectSame(const Table& table, const Model& model, int step) {
    ASSERT_EQ(table.GetSize(), model.Size()) << "step " << step;
    ASSERT_EQ(table.GetCapacity(), model.Capacity()) << "step " << step;
    ASSERT_DOUBLE_EQ(table.GetCollisionFigure(), model.CollisionFigure()) << "step " << step;
    ASSERT_EQ(Iterate(table), model.StorageOrder()) << "step " << step;
}

// Runs random operations on both; gives the largest capacity the table reached.
std::size_t RunRandomOperations(double collisionThreshold, double loadThreshold, int32_t keyRange,
                                unsigned seed) {
    Table table(collisionThreshold, loadThreshold);
    Model model(collisionThreshold, loadThreshold);
    std::mt19937 random(seed);
    std::uniform_int_distribution<int32_t> key(-keyRange, keyRange);
    std::uniform_int_distribution<int> operation(0, 999);
    std::size_t largestCapacity = 0;
    for (int step = 0; step < 4000; ++step) {
        const int32_t k = key(random);
        const int32_t value = step;
        const int choice = operation(random);
        if (choice < 450) {
            EXPECT_EQ(table.Add(k, value), model.Add(k, value)) << "step " << step;
        } else if (choice < 750) {
            table.Put(k, value);
            model.Put(k, value);
        } else if (choice < 998) {
            EXPECT_EQ(table.Delete(k), model.Delete(k)) << "step " << step;
        } else {
            table.Clear();
            model.Clear();
        }
        ExpectSame(table, model, step);
        if (::testing::Test::HasFatalFailure()) {
            return largestCapacity;
        }
        largestCapacity = std::max<std::size_t>(largestCapacity, table.GetCapacity());
    }
    return largestCapacity;
}

// A key whose hash the test switches, to build one long chain cheaply: the entries are added
// while their hash values spread them, then one growth re-inserts them all into one bucket.
struct SwitchedKey {
    int32_t id;
    bool operator==(const SwitchedKey& other) const { return id == other.id; }
};
bool allHashToZero = false;
GS::USize CalculateHashValue(const SwitchedKey& key) {
    return allHashToZero ? 0 : static_cast<GS::USize>(key.id);
}

// A table whose entries all lie in one chain of more than `length` nodes.
GS::HashTable<SwitchedKey, int32_t> SingleChainTable(int32_t length) {
    allHashToZero = false;
    GS::HashTable<SwitchedKey, int32_t> table;
    for (int32_t id = 0; id < length; ++id) {
        table.Add({id}, id);
    }
    // Further keys all meet one growing chain, so the collision figure soon passes its threshold
    // and the table grows, re-inserting every entry into bucket 0.
    allHashToZero = true;
    const GS::USize capacity = table.GetCapacity();
    for (int32_t id = length; table.GetCapacity() == capacity; ++id) {
        table.Add({id}, id);
    }
    allHashToZero = false;
    return table;
}

}  // namespace

TEST(HashCapacity, FollowsTheListedPrimes) {
    EXPECT_EQ(GS::GetNextHashCapacity(0), 17u);
    GS::USize capacity = 0;
    for (const GS::USize expected : kCapacities) {
        capacity = GS::GetNextHashCapacity(capacity);
        EXPECT_EQ(capacity, expected);
    }
}

TEST(HashCapacity, IsTheSmallestListedValueAboveTheArgument) {
    EXPECT_EQ(GS::GetNextHashCapacity(16), 17u);
    EXPECT_EQ(GS::GetNextHashCapacity(17), 37u);
    EXPECT_EQ(GS::GetNextHashCapacity(20), 37u);
    EXPECT_EQ(GS::GetNextHashCapacity(5614656), 5614657u);
}

TEST(HashCapacity, KeepsGrowingBeyondTheList) {
    GS::USize capacity = 5614657;
    for (int i = 0; i < 8; ++i) {
        const GS::USize next = GS::GetNextHashCapacity(capacity);
        EXPECT_GT(next, capacity);
        EXPECT_GE(next, 2 * static_cast<uint64_t>(capacity) + 1);
        capacity = next;
    }
    EXPECT_EQ(GS::GetNextHashCapacity(5614657), 11229331u);
}

TEST(HashTableModel, RandomOperationsWithDefaultThresholds) {
    EXPECT_GE(RunRandomOperations(2.0, 0.75, 3000, 20240611), 163u);
}

TEST(HashTableModel, RandomOperationsWithLowThresholds) { RunRandomOperations(0.1, 0.2, 500, 7); }

TEST(HashTableModel, RandomOperationsThatNeverGrow) { RunRandomOperations(1e9, 1e9, 200, 99); }

TEST(HashTableGrowth, GrowsWhenLoadAndCollisionsAreBothHigh) {
    // Keys 0, 17, 34, ... all fall into bucket 0 of 17.
    Table table(2.0, 0.75);
    Model model(2.0, 0.75);
    for (int32_t i = 0; i < 13; ++i) {
        table.Add(17 * i, i);
        model.Add(17 * i, i);
        ExpectSame(table, model, i);
    }
    // 13 entries: load 0.76, collision figure (0 + 1 + ... + 12) / 13 = 6.
    EXPECT_EQ(table.GetCapacity(), 37u);
}

TEST(HashTableGrowth, DoesNotGrowWhenCollisionsAreLowThoughLoadIsHigh) {
    Table table(2.0, 0.75);
    for (int32_t key = 0; key < 34; ++key) {  // two per bucket
        table.Add(key, key);
    }
    // Load 2, collision figure 17 / 34 = 0.5.
    EXPECT_EQ(table.GetCapacity(), 17u);
    EXPECT_DOUBLE_EQ(table.GetCollisionFigure(), 0.5);
    EXPECT_EQ(table.GetSize(), 34u);
}

TEST(HashTableGrowth, DoesNotGrowWhenLoadIsLowThoughCollisionsAreHigh) {
    Table table(2.0, 0.75);
    for (int32_t i = 0; i < 12; ++i) {  // one chain of 12: load 0.71, figure 5.5
        table.Add(17 * i, i);
    }
    EXPECT_EQ(table.GetCapacity(), 17u);
    EXPECT_DOUBLE_EQ(table.GetCollisionFigure(), 5.5);
}

TEST(HashTableIteration, RunsBucketByBucketNewestFirstInAChain) {
    Table table;
    table.Add(18, 0);  // bucket 1
    table.Add(1, 1);   // bucket 1, before 18
    table.Add(16, 2);  // bucket 16
    table.Add(0, 3);   // bucket 0
    table.Add(35, 4);  // bucket 1, before 1
    EXPECT_EQ(Iterate(table), (Pairs{{0, 3}, {35, 4}, {1, 1}, {18, 0}, {16, 2}}));
}

TEST(HashTableIteration, NegativeKeysHashAsTheirUnsignedValue) {
    Table table;
    table.Add(-1, 0);  // 0xFFFFFFFF % 17 == 0
    table.Add(3, 1);
    EXPECT_EQ(Iterate(table), (Pairs{{-1, 0}, {3, 1}}));
}

TEST(HashTableIteration, EmptyTableHasNoEntries) {
    const Table table;
    EXPECT_TRUE(table.begin() == table.end());
}

TEST(HashTableIteration, ValuesCanBeChangedThroughTheIterator) {
    Table table;
    table.Add(1, 10);
    table.Add(2, 20);
    for (auto& entry : table) {
        entry.value += 1;
    }
    EXPECT_EQ(*table.GetPtr(1), 11);
    EXPECT_EQ(*table.GetPtr(2), 21);
}

TEST(HashTableAccess, AddKeepsTheFirstValuePutReplacesIt) {
    Table table;
    EXPECT_TRUE(table.Add(5, 1));
    EXPECT_FALSE(table.Add(5, 2));
    EXPECT_EQ(*table.GetPtr(5), 1);
    table.Put(5, 3);
    EXPECT_EQ(*table.GetPtr(5), 3);
    table.Put(6, 4);
    EXPECT_EQ(table.GetSize(), 2u);
    EXPECT_TRUE(table.ContainsKey(6));
    EXPECT_FALSE(table.ContainsKey(7));
    EXPECT_EQ(table.GetPtr(7), nullptr);
    const Table& constTable = table;
    EXPECT_EQ(*constTable.GetPtr(6), 4);
}

TEST(HashTableAccess, DeleteRemovesFromAnyPlaceInAChain) {
    Table table;
    for (int32_t i = 0; i < 5; ++i) {
        table.Add(17 * i, i);
    }
    EXPECT_TRUE(table.Delete(34));  // middle
    EXPECT_TRUE(table.Delete(68));  // head
    EXPECT_TRUE(table.Delete(0));   // tail
    EXPECT_FALSE(table.Delete(0));
    EXPECT_EQ(Iterate(table), (Pairs{{51, 3}, {17, 1}}));
    EXPECT_EQ(table.GetSize(), 2u);
    EXPECT_FALSE(table.IsEmpty());
}

TEST(HashTableClear, ReturnsToTheFirstCapacityAndZeroFigure) {
    Table table;
    for (int32_t key = 0; key < 1000; ++key) {
        table.Add(key * 17, key);
    }
    ASSERT_GT(table.GetCapacity(), 17u);
    table.Clear();
    EXPECT_EQ(table.GetCapacity(), 17u);
    EXPECT_EQ(table.GetSize(), 0u);
    EXPECT_TRUE(table.IsEmpty());
    EXPECT_EQ(table.GetCollisionFigure(), 0.0);
    EXPECT_TRUE(table.begin() == table.end());
    table.Add(1, 1);  // and works afterwards
    EXPECT_EQ(Iterate(table), (Pairs{{1, 1}}));
    EXPECT_EQ(table.GetCollisionFigure(), 0.0);
}

TEST(HashTableMove, MovedToTableHasTheEntriesMovedFromIsEmptyAndUsable) {
    Table source;
    source.Add(1, 1);
    source.Add(18, 2);
    Table target(std::move(source));
    EXPECT_EQ(Iterate(target), (Pairs{{18, 2}, {1, 1}}));
    EXPECT_EQ(source.GetSize(), 0u);  // NOLINT(bugprone-use-after-move)
    EXPECT_FALSE(source.ContainsKey(1));
    EXPECT_FALSE(source.Delete(1));
    EXPECT_TRUE(source.begin() == source.end());
    EXPECT_TRUE(source.Add(3, 3));
    EXPECT_EQ(source.GetCapacity(), 17u);
    EXPECT_EQ(Iterate(source), (Pairs{{3, 3}}));

    Table assigned;
    assigned.Add(7, 7);
    assigned = std::move(target);
    EXPECT_EQ(Iterate(assigned), (Pairs{{18, 2}, {1, 1}}));
}

TEST(HashTableLongChain, DestroyingA100000NodeChainDoesNotExhaustTheStack) {
    {
        auto table = SingleChainTable(100000);
        EXPECT_GT(table.GetSize(), 100000u);
        std::size_t visited = 0;
        for (auto it = table.begin(); it != table.end(); ++it) {
            ++visited;
        }
        EXPECT_EQ(visited, table.GetSize());
    }
    SUCCEED();
}

TEST(HashTableLongChain, ClearingA100000NodeChainDoesNotExhaustTheStack) {
    auto table = SingleChainTable(100000);
    table.Clear();
    EXPECT_EQ(table.GetSize(), 0u);
    EXPECT_EQ(table.GetCapacity(), 17u);
}

TEST(HashTableLongChain, MoveAssigningOverA100000NodeChainDoesNotExhaustTheStack) {
    auto table = SingleChainTable(100000);
    table = GS::HashTable<SwitchedKey, int32_t>();
    EXPECT_EQ(table.GetSize(), 0u);
}
