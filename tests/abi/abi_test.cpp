// Tests the layout that other binaries depend on: the slots of virtual functions (Itanium C++ ABI),
// the order of fields, and values of fields that no operation returns.
//
// Accesses private fields, so it is built without access control.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libdatasrc/DataFreeDataSource.h>
#include <libdatasrc/ORVX_DataSourceFilterHook.h>
#include <liborvxdemg/ErrorMsg.h>
#include <liborvxdemg/ResetUndoMsg.h>
#include <liborvxmsgs/ReportedErrorMsg.h>
#include <liborvxmsgs/ReportedErrorMsgResponse.h>
#include <link.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>
#include <ServerDataManager/ObserverViewData.h>
#include <ServerDataManager/ServerDataManagerData.h>
#include <ServerDataManager/ServerDataManagerObserver.h>
#include <ServerDataManager/SvrBootstrapSpecs.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>
#include <tests/unit/virtual_slot.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

namespace {

// ---------------------------------------------------------------------------------------------
// Virtual tables

// The address sanitizer adds a red zone to each virtual table, so the size of the table's symbol is
// too large.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kTablesAreFenced = true;
#elif defined(__has_feature)
constexpr bool kTablesAreFenced = __has_feature(address_sanitizer);
#else
constexpr bool kTablesAreFenced = false;
#endif

// The virtual table of a class. With the address sanitizer, `count` is only an upper limit.
struct VirtualTable {
  void* const* slots;
  std::size_t count;
};

template <class T>
VirtualTable TableOf(const T& object) {
  VirtualTable table = {};
  std::memcpy(&table.slots, static_cast<const void*>(&object), sizeof table.slots);
  Dl_info place = {};
  void* symbol = nullptr;
  if (dladdr1(table.slots, &place, &symbol, RTLD_DL_SYMENT) == 0 || symbol == nullptr) {
    ADD_FAILURE() << "no symbol for the virtual table";
    return table;
  }
  // The symbol starts with two words that are not slots: the offset to the top and the type
  // information.
  table.count = static_cast<const ElfW(Sym)*>(symbol)->st_size / sizeof(void*) - 2;
  return table;
}

void ExpectCount(const VirtualTable& table, std::size_t count) {
  if (kTablesAreFenced) {
    EXPECT_GE(table.count, count);
  } else {
    EXPECT_EQ(table.count, count);
  }
}

void* Function(const std::string& mangledName) {
  void* const address = dlsym(RTLD_DEFAULT, mangledName.c_str());
  EXPECT_NE(address, nullptr) << mangledName;
  return address;
}

// Checks that the first two slots are the complete and the deleting destructor of the class.
// `mangledClass` is the class name as in the symbols of its functions.
void ExpectDestructorsFirst(const VirtualTable& table, const std::string& mangledClass) {
  ASSERT_GE(table.count, 2U);
  EXPECT_EQ(table.slots[0], Function("_ZN" + mangledClass + "D1Ev"));
  EXPECT_EQ(table.slots[1], Function("_ZN" + mangledClass + "D0Ev"));
}

class VirtualSlots : public testing::Test {
 protected:
  ServerDataManager registry_;
  SvrDMItemPtr item_ = registry_.GetDataSet(registry_.AddEmpty(/*quiet=*/true));
};

TEST_F(VirtualSlots, HandlesHaveNoSlotsButTheTwoDestructors) {
  const SvrDMDataset plain(item_);
  ExpectCount(TableOf(plain), 2);
  ExpectDestructorsFirst(TableOf(plain), "12SvrDMDataset");
  {
    const SvrDMInputDataSource reader(item_, /*tryOnly=*/false);
    ExpectCount(TableOf(reader), 2);
    ExpectDestructorsFirst(TableOf(reader), "20SvrDMInputDataSource");
  }
  {
    const SvrDMWriteableDataSource writer(item_, /*tryOnly=*/false, nullptr);
    ExpectCount(TableOf(writer), 2);
    ExpectDestructorsFirst(TableOf(writer), "24SvrDMWriteableDataSource");
  }
}

TEST_F(VirtualSlots, ItemHasNoSlotsButTheTwoDestructors) {
  ExpectCount(TableOf(*item_), 2);
  ExpectDestructorsFirst(TableOf(*item_), "9SvrDMItem");
}

TEST_F(VirtualSlots, ErrorMonitorsHaveDestructorsThenReport) {
  const InteractiveErrorMonitor monitor(LocallyUniqueID(), nullptr);
  const VirtualTable table = TableOf(monitor);

  EXPECT_EQ(VirtualSlot(&ErrorMonitor::Report), 2);
  EXPECT_EQ(VirtualSlot(&InteractiveErrorMonitor::Report), 2);
  ExpectCount(table, 3);
  ExpectDestructorsFirst(table, "23InteractiveErrorMonitor");
  EXPECT_EQ(table.slots[2], Function("_ZN23InteractiveErrorMonitor6ReportE9ErrorText"));
}

TEST_F(VirtualSlots, ClientInterfacesStartWithTheirOperation) {
  EXPECT_EQ(VirtualSlot(&SvrDMDataSetObserver::OnDataSetChanged), 0);
  EXPECT_EQ(VirtualSlot(&ORVX_DataSourceFilterHook::FilterDataSource), 0);
  EXPECT_EQ(VirtualSlot(&PackageProxy::SendMessage), 0);
}

TEST_F(VirtualSlots, RegistryObserversHaveDestructorsThenNotices) {
  EXPECT_EQ(VirtualSlot(&ServerDataManagerObserver::DataSetCreated), 2);
  EXPECT_EQ(VirtualSlot(&ServerDataManagerObserver::DataSetDeleted), 3);
}

TEST_F(VirtualSlots, DataSourceSlotsAreInTheFixedOrder) {
  const DataFreeDataSource source;

  ExpectDestructorsFirst(TableOf(source), "18DataFreeDataSource");
  EXPECT_EQ(VirtualSlot(&ORVX_DataSource::GetNSplitVars), 2);
  EXPECT_EQ(VirtualSlot(&ORVX_DataSource::GetSplitVarIndex), 3);
  EXPECT_EQ(VirtualSlot(&ORVX_DataSource::GetSplitVarID), 4);
  EXPECT_EQ(VirtualSlot(&ORVX_DataSource::GetSplitqSeparate), 5);
  EXPECT_EQ(VirtualSlot(&ORVX_DataSource::MakeIterator), 6);
  EXPECT_EQ(VirtualSlot(&ORVX_DataSource::GetObsAreaSize), 7);
  EXPECT_EQ(VirtualSlot(&ORVX_DataSource::RowCount), 8);
  EXPECT_EQ(VirtualSlot(&ORVX_DataSource::IsLoaded), 9);
  EXPECT_EQ(VirtualSlot(&ORVX_DataSource::NParents), 10);
  ExpectCount(TableOf(source), 11);
}

TEST_F(VirtualSlots, CloneOverridesTheDestructorsAndFourOtherSlotsOfASource) {
  const SvrDMCloneDataSource clone(nullptr);
  const DataFreeDataSource plain;
  const VirtualTable table = TableOf(clone);
  const VirtualTable inherited = TableOf(plain);

  ExpectCount(table, 11);
  ExpectDestructorsFirst(table, "20SvrDMCloneDataSource");
  for (const std::size_t slot : {2U, 3U, 4U, 5U, 9U}) {
    EXPECT_EQ(table.slots[slot], inherited.slots[slot]) << slot;
  }
  EXPECT_EQ(table.slots[6], Function("_ZNK20SvrDMCloneDataSource12MakeIteratorEP3OBS"));
  EXPECT_EQ(table.slots[7], Function("_ZNK20SvrDMCloneDataSource14GetObsAreaSizeEv"));
  EXPECT_EQ(table.slots[8], Function("_ZNK20SvrDMCloneDataSource8RowCountEv"));
  EXPECT_EQ(table.slots[10], Function("_ZNK20SvrDMCloneDataSource8NParentsEv"));
}

// Checks that the slots are the destructors, the inherited SetName and the three overridden
// operations, in this order.
template <class Message>
void ExpectMessageSlots(const Message& message, const std::string& mangledClass) {
  const VirtualTable table = TableOf(message);
  ExpectDestructorsFirst(table, mangledClass);
  ExpectCount(table, 6);
  EXPECT_EQ(VirtualSlot(&Message::SetName), 2);
  EXPECT_EQ(table.slots[2], Function("_ZN13VSerializable7SetNameEPKc"));
  EXPECT_EQ(VirtualSlot(&Message::VSClone), 3);
  EXPECT_EQ(VirtualSlot(&Message::VSInitSerialization), 4);
  EXPECT_EQ(VirtualSlot(&Message::VSConcreteSignature), 5);
}

TEST_F(VirtualSlots, ErrorMessageSlotsAreInTheOrderOfTheSerialisationLayer) {
  ExpectMessageSlots(ErrorMsg(), "10DEMessages8ErrorMsg");
  ExpectMessageSlots(ReportedErrorMsg(), "12OrvxMessages16ReportedErrorMsg");
  ExpectMessageSlots(ReportedErrorMsgResponse(), "12OrvxMessages24ReportedErrorMsgResponse");
}

// ---------------------------------------------------------------------------------------------
// Fields

struct Field {
  const char* name;
  std::size_t offset;
  std::size_t size;
  std::size_t alignment;
};

#define FIELD(Class, member)                                                                  \
  Field {                                                                                     \
#member, offsetof(Class, member), sizeof(Class::member), alignof(decltype(Class::member)) \
  }

std::size_t RoundUp(std::size_t offset, std::size_t alignment) {
  return (offset + alignment - 1) / alignment * alignment;
}

// Checks that the class consists of a base with `begin` bytes, then exactly these fields in this
// order.
template <class Class>
void ExpectFields(std::size_t begin, const std::vector<Field>& fields) {
  std::size_t end = begin;
  for (const Field& field : fields) {
    EXPECT_EQ(field.offset, RoundUp(end, field.alignment)) << field.name;
    end = field.offset + field.size;
  }
  EXPECT_EQ(sizeof(Class), RoundUp(end, alignof(Class)));
}

template <class T>
const void* FirstWordOf(const T& object) {
  const void* word = nullptr;
  std::memcpy(&word, static_cast<const void*>(&object), sizeof word);
  return word;
}

constexpr std::size_t kVirtualPointer = sizeof(void*);

TEST(Fields, IdentifierIsOneWordWithTheDomainInTheLowFourBits) {
  ExpectFields<LocallyUniqueID>(0, {FIELD(LocallyUniqueID, word_)});
  EXPECT_EQ(std::bit_cast<std::uint32_t>(LocallyUniqueID(5, 0x0ABCDEF1)), 0xABCDEF15U);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(LocallyUniqueID()), 0xFFFFFFFFU);
}

TEST(Fields, GeneratorHasDomainAndCounter) {
  ExpectFields<LocallyUniqueIDGenerator>(
      0, {FIELD(LocallyUniqueIDGenerator, domain_), FIELD(LocallyUniqueIDGenerator, next_)});
  EXPECT_EQ(sizeof(LocallyUniqueIDGenerator), 8U);
}

TEST(Fields, ItemPointerIsOnePointer) {
  const SvrDMItemPtr item(new SvrDMItem);

  EXPECT_EQ(sizeof(SvrDMItemPtr), sizeof(void*));
  EXPECT_EQ(FirstWordOf(item), item.get());
}

TEST(Fields, ItemFieldsAreInThisOrder) {
  ExpectFields<SvrDMItem>(sizeof(ORVX_RefCntObject), {FIELD(SvrDMItem, manager_),
                                                      FIELD(SvrDMItem, dataSource_),
                                                      FIELD(SvrDMItem, handle_),
                                                      FIELD(SvrDMItem, fileName_),
                                                      FIELD(SvrDMItem, suppressedFileName_),
                                                      FIELD(SvrDMItem, password_),
                                                      FIELD(SvrDMItem, passwordMangled_),
                                                      FIELD(SvrDMItem, lock_),
                                                      FIELD(SvrDMItem, notificationMutex_),
                                                      FIELD(SvrDMItem, observers_),
                                                      FIELD(SvrDMItem, notifications_),
                                                      FIELD(SvrDMItem, errorMonitor_),
                                                      FIELD(SvrDMItem, id_),
                                                      FIELD(SvrDMItem, caseSequence_),
                                                      FIELD(SvrDMItem, observerView_),
                                                      FIELD(SvrDMItem, writersCount_),
                                                      FIELD(SvrDMItem, readersCount_),
                                                      FIELD(SvrDMItem, originator_),
                                                      FIELD(SvrDMItem, notifyDelete_),
                                                      FIELD(SvrDMItem, writeLockFailed_),
                                                      FIELD(SvrDMItem, windowFront_),
                                                      FIELD(SvrDMItem, windowMinimized_),
                                                      FIELD(SvrDMItem, windowHidden_),
                                                      FIELD(SvrDMItem, notifiedCreation_),
                                                      FIELD(SvrDMItem, lockedFile_),
                                                      FIELD(SvrDMItem, lockedFileName_),
                                                      FIELD(SvrDMItem, lockedFileTime_),
                                                      FIELD(SvrDMItem, bootstrapSpecs_),
                                                      FIELD(SvrDMItem, creationTime_)});
}

TEST(Fields, ItemFieldsHaveTheTypesThatOtherBinariesRead) {
  EXPECT_TRUE((std::is_same_v<decltype(SvrDMItem::dataSource_), ORVX_DataSource*>));
  EXPECT_TRUE((std::is_same_v<decltype(SvrDMItem::caseSequence_), std::uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(SvrDMItem::writersCount_), std::int32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(SvrDMItem::readersCount_), std::int32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(SvrDMItem::originator_), std::uint32_t>));
  EXPECT_TRUE((std::is_same_v<decltype(SvrDMItem::windowMinimized_), bool>));
  EXPECT_TRUE((std::is_same_v<decltype(SvrDMItem::writeLockFailed_), bool>));
  EXPECT_TRUE((std::is_same_v<decltype(SvrDMItem::bootstrapSpecs_), SvrBootstrapSpecs*>));
}

// The memory is filled with ones, so a field without an initial value would not be zero.
TEST(Fields, NewItemHasOriginatorZeroAndAnErrorMonitorWithoutDatasetAndClient) {
  alignas(SvrDMItem) std::array<unsigned char, sizeof(SvrDMItem)> storage;
  storage.fill(0xFF);
  auto* const item =
      new (storage.data()) SvrDMItem(LocallyUniqueID(0, 7), nullptr, nullptr, 0, "", false);

  EXPECT_EQ(item->originator_, 0U);
  EXPECT_TRUE(item->errorMonitor_.id_.IsNull());
  EXPECT_EQ(item->errorMonitor_.proxy_, nullptr);
  item->~SvrDMItem();
}

// This library only stores the number; other binaries read the field.
TEST(Fields, OriginatorNumberIsStoredByItemAndWriter) {
  ServerDataManager registry;
  const LocallyUniqueID id = registry.AddEmpty(/*quiet=*/true);
  SvrDMItemPtr item = registry.GetDataSet(id);
  unsigned int number = 4000000000U;

  item->Originator(number);
  EXPECT_EQ(item->originator_, 4000000000U);

  SvrDMWriteableDataSource(registry, id, /*tryOnly=*/false, nullptr).Originator(7);
  EXPECT_EQ(item->originator_, 7U);
}

TEST(Fields, UnlockingWithoutAnOpenFileChangesNoField) {
  SvrDMItem item;
  item.lockedFileName_ = "left";
  item.lockedFileTime_ = 12;

  item.UnlockSavFileInUse();

  EXPECT_EQ(item.lockedFile_, nullptr);
  EXPECT_EQ(item.lockedFileName_, "left");
  EXPECT_EQ(item.lockedFileTime_, 12);
}

TEST(Fields, RegistryIsOnePointer) {
  const ServerDataManager registry;

  EXPECT_EQ(sizeof registry, sizeof(void*));
  EXPECT_EQ(FirstWordOf(registry), registry.data_.get());
}

TEST(Fields, RegistryDataFieldsAreInThisOrder) {
  using Data = ServerDataManager::Data;
  ExpectFields<Data>(0, {FIELD(Data, items), FIELD(Data, observers), FIELD(Data, generator),
                         FIELD(Data, lock), FIELD(Data, filter), FIELD(Data, owner)});
}

TEST(Fields, ObserverViewIsOnePointer) {
  SvrDMItem item;
  const SvrDMObserverView view(item);

  EXPECT_EQ(sizeof view, sizeof(void*));
  EXPECT_EQ(FirstWordOf(view), view.data_.get());
}

TEST(Fields, ObserverViewDataFieldsAreInThisOrder) {
  using Data = SvrDMObserverView::Data;
  SvrDMItem item;
  const Data data(item);

  // The first field is a reference, which is stored like a pointer. ExpectFields cannot check a
  // reference, because offsetof and sizeof do not work for references.
  EXPECT_EQ(FirstWordOf(data), &item);
  ExpectFields<Data>(sizeof(void*), {FIELD(Data, view), FIELD(Data, rowCount),
                                     FIELD(Data, resetClientData), FIELD(Data, bulkVarMoves)});
  EXPECT_TRUE(std::is_signed_v<decltype(data.rowCount)>);
  EXPECT_EQ(sizeof data.rowCount, 8U);
}

TEST(Fields, HandlesHaveAnItemPointerAndWritersAnOriginator) {
  ExpectFields<SvrDMDataset>(kVirtualPointer, {FIELD(SvrDMDataset, item_)});
  EXPECT_EQ(sizeof(SvrDMDataset), 2 * sizeof(void*));
  EXPECT_EQ(sizeof(SvrDMInputDataSource), sizeof(SvrDMDataset));
  ExpectFields<SvrDMWriteableDataSource>(sizeof(SvrDMInputDataSource),
                                         {FIELD(SvrDMWriteableDataSource, originator_)});
  EXPECT_EQ(sizeof(SvrDMWriteableDataSource), 3 * sizeof(void*));
}

TEST(Fields, CloneHasOnePointerToItsSharedData) {
  ExpectFields<SvrDMCloneDataSource>(sizeof(ORVX_DataSource), {FIELD(SvrDMCloneDataSource, data_)});
  EXPECT_EQ(sizeof(SvrDMCloneDataSource), sizeof(ORVX_DataSource) + sizeof(void*));
}

TEST(Fields, ErrorMonitorFieldsAreInThisOrder) {
  EXPECT_EQ(sizeof(ErrorMonitor), kVirtualPointer);
  ExpectFields<InteractiveErrorMonitor>(
      kVirtualPointer, {FIELD(InteractiveErrorMonitor, proxy_), FIELD(InteractiveErrorMonitor, id_),
                        FIELD(InteractiveErrorMonitor, reportWarnings_)});
}

TEST(Fields, ErrorMessageFieldsAreInThisOrder) {
  ExpectFields<ErrorMsg>(sizeof(VSerializable), {FIELD(ErrorMsg, text_), FIELD(ErrorMsg, code_)});
  ExpectFields<ReportedErrorMsg>(
      sizeof(VSerializable), {FIELD(ReportedErrorMsg, text_), FIELD(ReportedErrorMsg, dataSetID_)});
  ExpectFields<ReportedErrorMsgResponse>(sizeof(VSerializable),
                                         {FIELD(ReportedErrorMsgResponse, answer_)});
}

TEST(Fields, BootstrapSpecificationFieldsAreInThisOrder) {
  ExpectFields<SvrBootstrapSpecs>(
      0, {FIELD(SvrBootstrapSpecs, samplingMethod_), FIELD(SvrBootstrapSpecs, strataVars_),
          FIELD(SvrBootstrapSpecs, dependVars_), FIELD(SvrBootstrapSpecs, inputVars_),
          FIELD(SvrBootstrapSpecs, predictedVars_), FIELD(SvrBootstrapSpecs, residualVars_),
          FIELD(SvrBootstrapSpecs, splitEnds_), FIELD(SvrBootstrapSpecs, caseStats_),
          FIELD(SvrBootstrapSpecs, ciLevelPct_), FIELD(SvrBootstrapSpecs, ciType_),
          FIELD(SvrBootstrapSpecs, nSamples_), FIELD(SvrBootstrapSpecs, excludeUserMiss_)});
}

}  // namespace
