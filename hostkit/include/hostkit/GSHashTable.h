// GSHashTable.h: GS::HashTable, the host's chained hash table, instantiated where it is used.
//
// The behaviour callers rely on, kept exactly:
// - the bucket of a key is its hash value modulo the bucket count (an integer key is its own
//   hash value);
// - a new entry goes to the head of its bucket's chain;
// - iteration runs bucket by bucket from 0, each chain from its head ("storage order");
// - after an insertion the table grows to GetNextHashCapacity(bucket count) when the load
//   (entries per bucket) is at least the load threshold and the collision figure (the sum over
//   insertions of the chain length met, over the number of entries) is above the collision
//   threshold. Growing re-inserts the entries in storage order and recounts the figure.
//   Deleting lowers the number of entries, not the sum.
// A key type other than an integer gives its hash value through a CalculateHashValue(const Key&)
// in its own namespace (found by argument-dependent lookup).
// Clear removes the entries and their storage, returns to the first capacity and zeroes the
// collision figure.
#pragma once

#include "hostkit/GSTypes.h"

#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace GS {

// The next bucket count after `capacity`; grows without end.
USize GetNextHashCapacity(USize capacity);

template <typename Key> USize CalculateHashValue(const Key& key) {
    static_assert(std::is_integral_v<Key>, "give the key type a CalculateHashValue");
    return static_cast<USize>(key);
}

template <typename Key, typename Value> class HashTable {
    struct Node;

public:
    struct Entry {
        Key key;
        Value value;
    };

    template <typename NodeType, typename EntryType> class IteratorOf {
    public:
        EntryType& operator*() const { return node->entry; }
        EntryType* operator->() const { return &node->entry; }
        IteratorOf& operator++() {
            node = node->next.get();
            if (node == nullptr) {
                SkipEmptyBuckets(bucket + 1);
            }
            return *this;
        }
        bool operator==(const IteratorOf& other) const { return node == other.node; }
        bool operator!=(const IteratorOf& other) const { return node != other.node; }

    private:
        friend class HashTable;
        using Buckets =
            std::conditional_t<std::is_const_v<EntryType>, const std::vector<std::unique_ptr<Node>>,
                               std::vector<std::unique_ptr<Node>>>;
        IteratorOf(Buckets* buckets, std::size_t first) : buckets(buckets) {
            SkipEmptyBuckets(first);
        }
        IteratorOf() = default;
        void SkipEmptyBuckets(std::size_t from) {
            node = nullptr;
            for (bucket = from; bucket < buckets->size(); ++bucket) {
                if ((*buckets)[bucket] != nullptr) {
                    node = (*buckets)[bucket].get();
                    return;
                }
            }
        }

        Buckets* buckets = nullptr;
        std::size_t bucket = 0;
        NodeType* node = nullptr;
    };
    using Iterator = IteratorOf<Node, Entry>;
    using ConstIterator = IteratorOf<const Node, const Entry>;

    HashTable(double collisionThreshold = 2.0, double loadThreshold = 0.75)
        : collisionThreshold(collisionThreshold), loadThreshold(loadThreshold) {
        Reset();
    }
    // A moved-from table is empty, with no buckets until its next insertion.
    HashTable(HashTable&& other) noexcept
        : buckets(std::move(other.buckets)), chainLengths(std::move(other.chainLengths)),
          count(std::exchange(other.count, 0)), collisionSum(std::exchange(other.collisionSum, 0)),
          collisionThreshold(other.collisionThreshold), loadThreshold(other.loadThreshold) {
        other.buckets.clear();
        other.chainLengths.clear();
    }
    HashTable& operator=(HashTable&& other) noexcept {
        if (this != &other) {
            DestroyChains();
            buckets = std::move(other.buckets);
            chainLengths = std::move(other.chainLengths);
            count = std::exchange(other.count, 0);
            collisionSum = std::exchange(other.collisionSum, 0);
            collisionThreshold = other.collisionThreshold;
            loadThreshold = other.loadThreshold;
            other.buckets.clear();
            other.chainLengths.clear();
        }
        return *this;
    }
    ~HashTable() { DestroyChains(); }

    // Adds the entry unless the key is there already; false then, and nothing changes.
    bool Add(const Key& key, const Value& value) {
        if (FindNode(key) != nullptr) {
            return false;
        }
        Insert(Entry{key, value});
        Grow();
        return true;
    }
    // Adds the entry or replaces the value of the one there.
    void Put(const Key& key, const Value& value) {
        if (Node* node = FindNode(key)) {
            node->entry.value = value;
            return;
        }
        Insert(Entry{key, value});
        Grow();
    }
    bool Delete(const Key& key) {
        if (buckets.empty()) {
            return false;
        }
        const std::size_t bucket = BucketOf(key);
        std::unique_ptr<Node>* link = &buckets[bucket];
        while (*link != nullptr) {
            if ((*link)->entry.key == key) {
                *link = std::move((*link)->next);
                --chainLengths[bucket];
                --count;
                return true;
            }
            link = &(*link)->next;
        }
        return false;
    }
    void Clear() {
        DestroyChains();
        std::vector<std::unique_ptr<Node>>().swap(buckets);  // gives the storage back
        std::vector<USize>().swap(chainLengths);
        Reset();
    }

    bool ContainsKey(const Key& key) const { return FindNode(key) != nullptr; }
    Value* GetPtr(const Key& key) {
        Node* node = FindNode(key);
        return node != nullptr ? &node->entry.value : nullptr;
    }
    const Value* GetPtr(const Key& key) const {
        const Node* node = FindNode(key);
        return node != nullptr ? &node->entry.value : nullptr;
    }

    USize GetSize() const { return count; }
    bool IsEmpty() const { return count == 0; }
    USize GetCapacity() const { return static_cast<USize>(buckets.size()); }
    double GetCollisionFigure() const {
        return count == 0 ? 0.0 : static_cast<double>(collisionSum) / count;
    }

    Iterator begin() { return Iterator(&buckets, 0); }
    Iterator end() { return Iterator(); }
    ConstIterator begin() const { return ConstIterator(&buckets, 0); }
    ConstIterator end() const { return ConstIterator(); }

private:
    struct Node {
        Entry entry;
        std::unique_ptr<Node> next;
    };

    // An empty table has its first capacity and a zero collision figure.
    void Reset() {
        buckets.resize(GetNextHashCapacity(0));
        chainLengths.assign(buckets.size(), 0);
        count = 0;
        collisionSum = 0;
    }

    // Frees the nodes one by one: letting each node free the next would recurse once per node
    // of a chain, and a long chain would exhaust the stack.
    void DestroyChains() noexcept {
        for (std::unique_ptr<Node>& head : buckets) {
            while (head != nullptr) {
                std::unique_ptr<Node> next = std::move(head->next);
                head = std::move(next);
            }
        }
        count = 0;
        collisionSum = 0;
    }

    std::size_t BucketOf(const Key& key) const { return CalculateHashValue(key) % buckets.size(); }

    Node* FindNode(const Key& key) const {
        if (buckets.empty()) {
            return nullptr;
        }
        for (Node* node = buckets[BucketOf(key)].get(); node != nullptr; node = node->next.get()) {
            if (node->entry.key == key) {
                return node;
            }
        }
        return nullptr;
    }

    void Insert(Entry&& entry) {
        if (buckets.empty()) {
            Reset();  // moved from
        }
        InsertNode(std::make_unique<Node>(Node{std::move(entry), {}}));
    }

    // The chain length met counts towards the collision figure; it is kept per bucket, so that an
    // insertion does not walk the chain.
    void InsertNode(std::unique_ptr<Node> node) {
        const std::size_t bucket = BucketOf(node->entry.key);
        std::unique_ptr<Node>& head = buckets[bucket];
        node->next = std::move(head);
        head = std::move(node);
        collisionSum += chainLengths[bucket]++;
        ++count;
    }

    void Grow() {
        const double load = static_cast<double>(count) / buckets.size();
        if (load < loadThreshold || GetCollisionFigure() <= collisionThreshold) {
            return;
        }
        std::vector<std::unique_ptr<Node>> old(GetNextHashCapacity(GetCapacity()));
        std::vector<USize> lengths(old.size(), 0);
        old.swap(buckets);
        lengths.swap(chainLengths);
        count = 0;
        collisionSum = 0;
        for (std::unique_ptr<Node>& head : old) {
            while (head != nullptr) {
                std::unique_ptr<Node> node = std::move(head);
                head = std::move(node->next);
                InsertNode(std::move(node));
            }
        }
    }

    std::vector<std::unique_ptr<Node>> buckets;
    std::vector<USize> chainLengths;  // per bucket
    USize count = 0;
    uint64_t collisionSum = 0;
    double collisionThreshold;
    double loadThreshold;
};

}  // namespace GS
