// DatasetIndex: finds the first dataset, in the order of registration, with a given identifier,
// handle name or file name. Internal.
//
// The index is guarded by the leaf lock, because any thread may set a name without the registry
// lock. The index is always up to date: setting a name moves the dataset within the index.

#ifndef SERVERDATAMANAGER_DATASETINDEX_H_
#define SERVERDATAMANAGER_DATASETINDEX_H_

#include <libplatdep/mbstricmp.h>
#include <ServerDataManager/LeafLock.h>
#include <ServerDataManager/SvrDMItemPtr.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sdm_internal {

// Returns a hash of the name, ignoring case. Returns 0 for every name if libplatdep has no
// MBFoldedHash; a search by name then compares with every distinct name.
template <class Text>
std::uint64_t NameHash(Text name) {
  if constexpr (requires { MBFoldedHash(name); }) {
    return MBFoldedHash(name);
  } else {
    return 0;
  }
}

inline bool IsSameName(const std::string& a, const std::string& b) {
  return _ORVXMBstricmp_A(a.c_str(), b.c_str()) == 0;
}

struct IndexEntry;

// Links an entry into one KeyTable. The entry is a node of a binary heap; the root of the heap is
// in the linked list of a hash bucket.
struct IndexLink {
  std::uint64_t hash = 0;
  IndexEntry* next = nullptr;    // for a root: the next root in the list
  IndexEntry* parent = nullptr;  // null for a root
  IndexEntry* left = nullptr;
  IndexEntry* right = nullptr;
};

// A dataset in the index.
struct IndexEntry {
  SvrDMItem* item = nullptr;  // borrowed
  std::size_t position = 0;   // in the registry's list of items
  IndexLink id, handle, fileName;
};

// Search conditions. Each is true for the datasets with a given key: an identifier, a handle name
// or a file name. HandleMatch and FileNameMatch read names, so call them only while holding the
// leaf lock.

struct LUIDMatch {
  LocallyUniqueID id;
  std::uint64_t hash = id.Word() * 0x9E3779B97F4A7C15;
  static constexpr auto kLink = &IndexEntry::id;
  bool operator()(const SvrDMItem& item) const { return item.ID() == id; }
};

struct HandleMatch {
  const std::string& handle;
  std::uint64_t hash = NameHash(handle.c_str());
  static constexpr auto kLink = &IndexEntry::handle;
  bool operator()(const SvrDMItem& item) const { return IsSameName(item.Handle(), handle); }
};

struct FileNameMatch {
  const std::string& name;
  std::uint64_t hash = NameHash(name.c_str());
  static constexpr auto kLink = &IndexEntry::fileName;
  bool operator()(const SvrDMItem& item) const { return IsSameName(item.FileName(), name); }
};

// A hash table of entries by one key: the identifier, the handle name or the file name. `Match`
// compares an item with a key. The links are in the entries, because setting a name must not
// allocate. Entries with the same key, such as all datasets without a handle name, form a binary
// heap ordered by position, so the root of the heap is the first of these datasets. Merging two
// heaps descends to random children, which keeps the expected depth logarithmic.
template <class Match>
class KeyTable {
 public:
  // The first entry that satisfies `match`; null if there is none.
  IndexEntry* First(const Match& match) const { return PlaceOf(match); }

  // Doubles the number of buckets once if there are fewer than `count` buckets. If Reserve throws,
  // nothing has changed.
  void Reserve(std::size_t count) {
    if (count <= Size()) return;
    KeyTable larger(bits_ + 1);
    for (std::size_t i = 0; i < Size(); ++i) {
      while (IndexEntry* const root = buckets_[i]) {
        buckets_[i] = Link(*root).next;
        Link(*root).next = std::exchange(larger.Bucket(Link(*root).hash), root);
      }
    }
    std::swap(buckets_, larger.buckets_);
    bits_ = larger.bits_;
  }

  // Inserts `entry` under the key of `match`. Does not add buckets: before adding a new entry, call
  // Reserve.
  void Insert(IndexEntry& entry, const Match& match) {
    IndexEntry*& root = PlaceOf(match);
    IndexEntry* const next = root != nullptr ? std::exchange(Link(*root).next, nullptr) : nullptr;
    Link(entry) = {match.hash};
    root = Meld(root, &entry);
    Link(*root).next = next;
    Link(*root).parent = nullptr;
  }

  // Removes `entry`. Does not read the item's key, which may already have changed.
  void Remove(IndexEntry& entry) {
    IndexLink& link = Link(entry);
    IndexEntry*& place = PlaceOf(entry);
    IndexEntry* const rest = Meld(link.left, link.right);
    if (rest != nullptr) {
      Link(*rest).next = link.next;
      Link(*rest).parent = link.parent;
    }
    place = rest != nullptr ? rest : link.next;
  }

  void Clear() {
    for (std::size_t i = 0; i < Size(); ++i) buckets_[i] = nullptr;
  }

  KeyTable() : KeyTable(/*bits=*/4) {}

 private:
  explicit KeyTable(unsigned bits)
      : bits_(bits), buckets_(std::make_unique<IndexEntry*[]>(std::size_t{1} << bits)) {}

  static IndexLink& Link(IndexEntry& entry) { return entry.*Match::kLink; }

  std::size_t Size() const { return std::size_t{1} << bits_; }
  IndexEntry*& Bucket(std::uint64_t hash) const { return buckets_[hash >> (64 - bits_)]; }

  // Returns, by reference, the pointer to the root of the heap of entries with the key. The pointer
  // is null if there is no such entry; Insert then stores a new root in it.
  IndexEntry*& PlaceOf(const Match& match) const {
    IndexEntry** place = &Bucket(match.hash);
    while (*place != nullptr && !(Link(**place).hash == match.hash && match(*(*place)->item))) {
      place = &Link(**place).next;
    }
    return *place;
  }

  // Returns, by reference, the pointer that points to `entry`: in its parent or, for a root, in the
  // bucket or in the preceding root of the bucket's list.
  IndexEntry*& PlaceOf(const IndexEntry& entry) const {
    const IndexLink& link = entry.*Match::kLink;
    if (link.parent != nullptr) {
      IndexLink& parent = Link(*link.parent);
      return parent.left == &entry ? parent.left : parent.right;
    }
    IndexEntry** place = &Bucket(link.hash);
    while (*place != &entry) place = &Link(**place).next;
    return *place;
  }

  // Merges two heaps, either of which may be null. Returns the new root.
  IndexEntry* Meld(IndexEntry* a, IndexEntry* b) {
    if (a == nullptr) return b;
    if (b == nullptr) return a;
    if (b->position < a->position) std::swap(a, b);
    IndexEntry*& child = TossCoin() ? Link(*a).left : Link(*a).right;
    child = Meld(child, b);
    Link(*child).parent = a;
    return a;
  }

  bool TossCoin() {
    random_ = random_ * 6364136223846793005 + 1442695040888963407;
    return random_ >> 63 != 0;
  }

  unsigned bits_;
  std::unique_ptr<IndexEntry*[]> buckets_;
  std::uint64_t random_ = 0;
};

// The index of one registry. It also maintains the registry's list of items, which it borrows. A
// removed item leaves a gap, an empty pointer, so that later items need not move on each removal.
class DatasetIndex {
 public:
  // The constructor and the destructor take the leaf lock.
  DatasetIndex(const ServerDataManager* registry, std::vector<SvrDMItemPtr>& items);
  DatasetIndex(const DatasetIndex&) = delete;
  DatasetIndex& operator=(const DatasetIndex&) = delete;
  ~DatasetIndex();

  // Appends the item to the list and adds it to the index. `entry` is new; allocate it before
  // acquiring the leaf lock. If Append throws, nothing has changed.
  void Append(SvrDMItem& item, std::unique_ptr<IndexEntry> entry) SDM_REQUIRES(leafMutex);

  // Removes the item from the list and the index. The caller must hold a reference to the item, so
  // that the item is not destroyed under the leaf lock. Returns the item's entry, which the caller
  // deletes after releasing the leaf lock; null if the item is not in the list.
  std::unique_ptr<IndexEntry> Remove(const SvrDMItem& item) SDM_REQUIRES(leafMutex);

  // Removes all items from the index; the caller clears the list. Returns the entries, which the
  // caller deletes after releasing the leaf lock.
  std::vector<std::unique_ptr<IndexEntry>> Clear() SDM_REQUIRES(leafMutex);

  // Removes the gaps from the list.
  void Compact() SDM_REQUIRES(leafMutex);

  // The number of items, without gaps.
  std::size_t Count() const SDM_REQUIRES(leafMutex) { return items_.size() - gaps_; }

  // The first item that satisfies the condition; null if there is none.
  SvrDMItem* First(const LUIDMatch& match) const SDM_REQUIRES(leafMutex) {
    return ItemOf(ids_.First(match));
  }
  SvrDMItem* First(const HandleMatch& match) const SDM_REQUIRES(leafMutex) {
    return ItemOf(handles_.First(match));
  }
  SvrDMItem* First(const FileNameMatch& match) const SDM_REQUIRES(leafMutex) {
    return ItemOf(fileNames_.First(match));
  }

  // Updates the index of the item's registry after the item got a new name. Does nothing if the
  // registry was destroyed or does not have the item.
  static void NameChanged(const SvrDMItem& item, const HandleMatch& name) SDM_REQUIRES(leafMutex);
  static void NameChanged(const SvrDMItem& item, const FileNameMatch& name) SDM_REQUIRES(leafMutex);

 private:
  static SvrDMItem* ItemOf(IndexEntry* entry) { return entry != nullptr ? entry->item : nullptr; }

  template <class Match>
  static void Rekey(const SvrDMItem& item, const Match& name, KeyTable<Match> DatasetIndex::*table)
      SDM_REQUIRES(leafMutex);

  // Returns the entry of the item; null if the item is not in the list.
  IndexEntry* EntryOf(const SvrDMItem& item) const SDM_REQUIRES(leafMutex);
  void ReserveOneMore() SDM_REQUIRES(leafMutex);

  const ServerDataManager* const registry_;
  std::vector<SvrDMItemPtr>& items_;
  std::vector<std::unique_ptr<IndexEntry>> entries_ SDM_GUARDED_BY(leafMutex);  // null for a gap
  std::size_t gaps_ SDM_GUARDED_BY(leafMutex) = 0;
  KeyTable<LUIDMatch> ids_ SDM_GUARDED_BY(leafMutex);
  KeyTable<HandleMatch> handles_ SDM_GUARDED_BY(leafMutex);
  KeyTable<FileNameMatch> fileNames_ SDM_GUARDED_BY(leafMutex);

  // A linked list of the indexes of all registries. NameChanged searches this list for the item's
  // registry. It cannot follow the item's pointer to the registry, because the registry may have
  // been destroyed.
  DatasetIndex* next_ SDM_GUARDED_BY(leafMutex);
  static constinit DatasetIndex* first_ SDM_GUARDED_BY(leafMutex);
};

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_DATASETINDEX_H_
