// Tests that the registry finds the same datasets as a linear search of a plain list, after random
// additions, deletions and changes of names.

#include <libdatasrc/ORVX_DataSource.h>
#include <liborvxdemg/ErrorMsg.h>
#include <libplatdep/mbstricmp.h>
#include <ServerDataManager/serverdatamgr.h>
#include <tests/property/ForAll.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace {

// Some of these names are equal if case is ignored.
constexpr std::array kNames = {"", "a", "A", "b", "survey", "SURVEY", "Größe", "GRÖSSE", "\xFF"};

bool AreEqual(const std::string& a, const std::string& b) {
  return _ORVXMBstricmp_A(a.c_str(), b.c_str()) == 0;
}

using Items = std::vector<SvrDMItemPtr>;

template <class Match>
SvrDMItem* FirstIn(Items& items, Match match) {
  const auto found = std::find_if(items.begin(), items.end(), match);
  return found != items.end() ? found->get() : nullptr;
}

// One random operation. `kind` selects the operation; `object` and `name` select its arguments.
struct Operation {
  int kind, object, name;
};

std::vector<Operation> ArbitraryOperations() {
  return *rc::gen::scale(
      4.0, rc::gen::container<std::vector<Operation>>(rc::gen::build<Operation>(
               rc::gen::set(&Operation::kind, rc::gen::inRange(0, 12)),
               rc::gen::set(&Operation::object, rc::gen::inRange(0, 1000)),
               rc::gen::set(&Operation::name, rc::gen::inRange<int>(0, kNames.size())))));
}

std::ostream& operator<<(std::ostream& stream, const Operation& operation) {
  return stream << '{' << operation.kind << ", " << operation.object << ", " << operation.name
                << '}';
}

// Gives access to the item of a handle.
class Opened : public SvrDMDataset {
 public:
  explicit Opened(const SvrDMDataset& handle) : SvrDMDataset(handle) {}
  SvrDMItem* Get() { return &Item(); }
};

class RegistryAndList {
 public:
  void Do(const Operation& operation) {
    const std::string name = kNames[static_cast<std::size_t>(operation.name)];
    switch (operation.kind) {
      case 0:
      case 1:
      case 2:
      case 3:
      case 4:
        return Added(registry_.Add(nullptr, name, /*quiet=*/true), name);
      case 5:
        return Replace(LocallyUniqueID(0, static_cast<unsigned>(operation.object % 8)), name);
      case 6:
        return DeleteFirst(IdOf(operation));
      case 7:
        if (!items_.empty()) DeleteFirst(items_.front()->ID());
        return;
      case 8:
        if (!all_.empty()) ItemOf(operation).FileName(name);
        return;
      case 9:
        registry_.Password(IdOf(operation), "secret", /*flag=*/false);
        if (SvrDMItem* const first = First(IdOf(operation))) {
          RC_ASSERT(first->Password() == "secret");
          first->Password("", false);
        }
        return;
      default:
        if (!all_.empty()) ItemOf(operation).Handle(name);
    }
  }

  // Checks that the registry finds the same datasets as linear searches of the list: the first
  // dataset with each handle name, and with the identifier of the dataset that `last` selects.
  void CheckSearches(const Operation& last) {
    for (const std::string name : kNames) {
      RC_ASSERT(registry_.GetDataSet(name).get() == FirstIn(items_, [&](const SvrDMItemPtr& item) {
                  return AreEqual(item->Handle(), name);
                }));
    }
    CheckIdentifier(IdOf(last));
  }

  void CheckAll() {
    for (const SvrDMItemPtr& item : all_) CheckIdentifier(item->ID());
    const std::vector<SvrDMDataset> datasets = registry_.GetAllDatasets();
    RC_ASSERT(datasets.size() == items_.size());
    for (std::size_t i = 0; i < items_.size(); ++i) {
      RC_ASSERT(Opened(datasets[i]).Get() == items_[i].get());
    }
  }

 private:
  LocallyUniqueID IdOf(const Operation& operation) {
    return all_.empty() ? LocallyUniqueID() : ItemOf(operation).ID();
  }
  // Returns an item that is or was registered.
  SvrDMItem& ItemOf(const Operation& operation) {
    return *all_[static_cast<std::size_t>(operation.object) % all_.size()];
  }

  SvrDMItem* First(LocallyUniqueID id) {
    return FirstIn(items_, [id](const SvrDMItemPtr& item) { return item->ID() == id; });
  }

  void CheckIdentifier(LocallyUniqueID id) {
    SvrDMItem* found = nullptr;
    try {
      found = registry_.GetDataSet(id).get();
    } catch (const ErrorMsg&) {
    }
    RC_ASSERT(found == First(id));
  }

  void Replace(LocallyUniqueID id, const std::string& name) {
    EraseFirst(id);
    registry_.Add(nullptr, name, /*quiet=*/true, id, /*caseSequence=*/0);
    Added(id, name);
  }

  // Records the dataset that was just added, and checks the dataset's file names.
  void Added(LocallyUniqueID id, const std::string& name) {
    const bool isInUse = FirstIn(items_, [&](const SvrDMItemPtr& item) {
                           return AreEqual(item->FileName(), name);
                         }) != nullptr;
    const SvrDMItemPtr item = LastWith(id);
    RC_ASSERT(item->FileName() == (isInUse ? "" : name));
    RC_ASSERT(item->SuppressedFileName() == (isInUse ? name : ""));
    items_.push_back(item);
    all_.push_back(item);
  }

  // Returns the dataset that was just added with this identifier. Uses GetAllDatasets only if an
  // earlier dataset has the same identifier, because GetDataSet would return the earlier dataset.
  // GetAllDatasets removes the gaps that deletions leave in the registry's list; the tests must
  // also search lists with gaps.
  SvrDMItemPtr LastWith(LocallyUniqueID id) {
    if (First(id) == nullptr) return registry_.GetDataSet(id);
    return SvrDMItemPtr(Opened(registry_.GetAllDatasets().back()).Get());
  }

  void DeleteFirst(LocallyUniqueID id) {
    EraseFirst(id);
    registry_.Delete(id);
  }
  void EraseFirst(LocallyUniqueID id) {
    const auto found = std::find_if(items_.begin(), items_.end(),
                                    [id](const SvrDMItemPtr& item) { return item->ID() == id; });
    if (found != items_.end()) items_.erase(found);
  }

  ServerDataManager registry_;
  Items items_;  // in the order of registration
  Items all_;    // includes the deleted items
};

TEST(RegistryProperty, EverySearchFindsTheFirstMatchInTheOrderOfRegistration) {
  ForAll(300, [] {
    RegistryAndList both;
    for (const Operation& operation : ArbitraryOperations()) {
      both.Do(operation);
      both.CheckSearches(operation);
    }
    both.CheckAll();
  });
}

}  // namespace
