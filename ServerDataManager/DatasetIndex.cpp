#include <ServerDataManager/DatasetIndex.h>

namespace sdm_internal {

constinit DatasetIndex* DatasetIndex::first_ = nullptr;

DatasetIndex::DatasetIndex(const ServerDataManager* registry, std::vector<SvrDMItemPtr>& items)
    : registry_(registry), items_(items) {
  const LeafLock held;
  next_ = std::exchange(first_, this);
}

DatasetIndex::~DatasetIndex() {
  const LeafLock held;
  DatasetIndex** place = &first_;
  while (*place != this) place = &(*place)->next_;
  *place = next_;
}

void DatasetIndex::Append(SvrDMItem& item, std::unique_ptr<IndexEntry> entry) {
  ReserveOneMore();
  entry->item = &item;
  entry->position = items_.size();
  ids_.Insert(*entry, LUIDMatch{item.ID()});
  handles_.Insert(*entry, HandleMatch{item.Handle()});
  fileNames_.Insert(*entry, FileNameMatch{item.FileName()});
  items_.emplace_back(&item);
  entries_.push_back(std::move(entry));
}

// Makes room for one more item in the list and in each table. Moves the items to a larger vector by
// swapping pointers, because a vector that grows by itself would raise and lower every reference
// count.
void DatasetIndex::ReserveOneMore() {
  const std::size_t count = items_.size() + 1;
  if (entries_.capacity() < count) entries_.reserve(2 * count);
  if (items_.capacity() < count) {
    std::vector<SvrDMItemPtr> larger;
    larger.reserve(2 * count);
    for (SvrDMItemPtr& item : items_) larger.emplace_back(nullptr).Swap(item);
    items_.swap(larger);
  }
  ids_.Reserve(count);
  handles_.Reserve(count);
  fileNames_.Reserve(count);
}

std::unique_ptr<IndexEntry> DatasetIndex::Remove(const SvrDMItem& item) {
  IndexEntry* const entry = EntryOf(item);
  if (entry == nullptr) return nullptr;
  ids_.Remove(*entry);
  handles_.Remove(*entry);
  fileNames_.Remove(*entry);
  items_[entry->position] = SvrDMItemPtr(nullptr);
  std::unique_ptr<IndexEntry> removed = std::move(entries_[entry->position]);
  ++gaps_;
  for (; !entries_.empty() && entries_.back() == nullptr; --gaps_) {
    entries_.pop_back();
    items_.pop_back();
  }
  if (gaps_ > items_.size() / 2) Compact();
  return removed;
}

std::vector<std::unique_ptr<IndexEntry>> DatasetIndex::Clear() {
  ids_.Clear();
  handles_.Clear();
  fileNames_.Clear();
  gaps_ = 0;
  return std::exchange(entries_, {});
}

void DatasetIndex::Compact() {
  if (gaps_ == 0) return;
  std::size_t kept = 0;
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (entries_[i] == nullptr) continue;
    entries_[i]->position = kept;
    entries_[kept].swap(entries_[i]);
    items_[kept++].Swap(items_[i]);
  }
  items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(kept), items_.end());
  entries_.resize(kept);
  gaps_ = 0;
}

namespace {

IndexEntry* FindInHeap(IndexEntry* root, const SvrDMItem& item) {
  if (root == nullptr || root->item == &item) return root;
  IndexEntry* const found = FindInHeap(root->id.left, item);
  return found != nullptr ? found : FindInHeap(root->id.right, item);
}

}  // namespace

// Takes time linear in the number of items with the identifier of `item`, usually one.
IndexEntry* DatasetIndex::EntryOf(const SvrDMItem& item) const {
  return FindInHeap(ids_.First(LUIDMatch{item.ID()}), item);
}

template <class Match>
void DatasetIndex::Rekey(const SvrDMItem& item, const Match& name,
                         KeyTable<Match> DatasetIndex::*table) {
  for (DatasetIndex* index = first_; index != nullptr; index = index->next_) {
    if (index->registry_ != item.Manager()) continue;
    if (IndexEntry* const entry = index->EntryOf(item)) {
      (index->*table).Remove(*entry);
      (index->*table).Insert(*entry, name);
    }
    return;
  }
}

void DatasetIndex::NameChanged(const SvrDMItem& item, const HandleMatch& name) {
  Rekey(item, name, &DatasetIndex::handles_);
}

void DatasetIndex::NameChanged(const SvrDMItem& item, const FileNameMatch& name) {
  Rekey(item, name, &DatasetIndex::fileNames_);
}

}  // namespace sdm_internal
