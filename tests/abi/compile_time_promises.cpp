// Expressions that must compile, and expressions that must not. Compiling this file is the test.

#include <libdatasrc/ORVX_DataSourceFilterHook.h>
#include <liborvxdemg/ErrorMsg.h>
#include <libvserial/ForeignProcess.h>
#include <libvserial/VSerializable.h>
#include <PackageProxy/PackageProxy.h>
#include <ServerDataManager/InteractiveErrorMonitor.h>
#include <ServerDataManager/ObserverView.h>
#include <ServerDataManager/ServerDataManagerObserver.h>
#include <ServerDataManager/serverdatamgr.h>
#include <ServerDataManager/SvrDMCloneDataSource.h>
#include <ServerDataManager/SvrDMDataSetObserver.h>
#include <ServerDataManager/svrdmitem.h>
#include <ServerDataManager/SvrDMItemPtr.h>
#include <ServerDataManager/SvrDMWriteableDataSource.h>

#include <bit>
#include <concepts>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace {

template <class T>
constexpr bool kCopied = std::is_copy_constructible_v<T>&& std::is_copy_assignable_v<T>;

template <class T>
constexpr bool kNeverCopied = !std::is_copy_constructible_v<T> && !std::is_copy_assignable_v<T> &&
                              !std::is_move_constructible_v<T> && !std::is_move_assignable_v<T>;

// Plain handles can be copied, so they can be returned in lists. Handles with a lock, and objects
// that exist only once, cannot be copied.
static_assert(std::is_copy_constructible_v<SvrDMDataset>);
static_assert(kCopied<SvrDMItemPtr>);
static_assert(kCopied<LocallyUniqueID>);
static_assert(kNeverCopied<SvrDMInputDataSource>);
static_assert(kNeverCopied<SvrDMWriteableDataSource>);
static_assert(kNeverCopied<ServerDataManager>);
static_assert(kNeverCopied<SvrDMObserverView>);

// Handles cannot be assigned, because assigning to the base of a handle with a lock would release
// the dataset that the handle has locked.
template <class Handle, class Base>
constexpr bool kAssignedThrough = requires(Handle& handle, const Base& other) {
  static_cast<Base&>(handle) = other;
};
static_assert(!kAssignedThrough<SvrDMInputDataSource, SvrDMDataset>);
static_assert(!kAssignedThrough<SvrDMWriteableDataSource, SvrDMDataset>);
static_assert(!std::is_copy_assignable_v<SvrDMDataset> && !std::is_move_assignable_v<SvrDMDataset>);

// An identifier is one word. Bit fields are not used: their layout would depend on the compiler.
static_assert(std::bit_cast<unsigned int>(LocallyUniqueID(5, 0x0ABCDEF1)) == 0xABCDEF15);
static_assert(std::bit_cast<unsigned int>(LocallyUniqueID()) == 0xFFFFFFFF);

// Variable sets can be compared; the operators are in the headers of libdatasrc.
static_assert(std::equality_comparable<VariableSetImpl>);
static_assert(std::equality_comparable<VariableSet>);

// TryRead and TryWrite construct the handle inside the optional that they return. Neither the
// handle nor the optional can be moved.
template <class Handle>
constexpr bool kStays = !std::is_move_constructible_v<std::optional<Handle>> &&
                        !std::is_move_assignable_v<std::optional<Handle>>;
static_assert(std::is_same_v<decltype(SvrDMInputDataSource::TryRead(LocallyUniqueID(), {})),
                             std::optional<SvrDMInputDataSource>>);
static_assert(kStays<SvrDMInputDataSource>);
static_assert(kStays<SvrDMWriteableDataSource>);

// Add takes a source as a unique pointer or by reference; a raw pointer is not accepted.
template <class Source>
constexpr bool kIsAdded = requires(ServerDataManager& registry, Source source) {
  registry.Add(source(), "", false);
};
static_assert(kIsAdded<std::unique_ptr<ORVX_DataSource> (*)()>);
static_assert(kIsAdded<ORVX_DataSource& (*)()>);
static_assert(!kIsAdded<ORVX_DataSource* (*)()>);

// A clone can be copied but not assigned, and is not converted implicitly from a source.
static_assert(std::is_copy_constructible_v<SvrDMCloneDataSource>);
static_assert(!std::is_copy_assignable_v<SvrDMCloneDataSource>);
static_assert(std::is_constructible_v<SvrDMCloneDataSource, ORVX_DataSource const*>);
static_assert(!std::is_convertible_v<ORVX_DataSource const*, SvrDMCloneDataSource>);
static_assert(std::is_base_of_v<ORVX_DataSource, SvrDMCloneDataSource>);

// RefCountPtr needs the copy constructor of an item. An item cannot be assigned.
static_assert(std::is_copy_constructible_v<SvrDMItem>);
static_assert(!std::is_copy_assignable_v<SvrDMItem>);

// The constructor that acquires no lock is only for classes derived from the reader.
struct Derived : SvrDMInputDataSource {
  explicit Derived(const SvrDMItemPtr& item) : SvrDMInputDataSource("", item) {}
};
static_assert(std::is_constructible_v<Derived, const SvrDMItemPtr&>);
static_assert(!std::is_constructible_v<SvrDMInputDataSource, const char*, const SvrDMItemPtr&>);

// Handles with a lock need an item pointer that is an lvalue and not const.
static_assert(std::is_constructible_v<SvrDMInputDataSource, SvrDMItemPtr&, bool>);
static_assert(!std::is_constructible_v<SvrDMInputDataSource, const SvrDMItemPtr&, bool>);
static_assert(!std::is_constructible_v<SvrDMInputDataSource, SvrDMItemPtr, bool>);
static_assert(
    std::is_constructible_v<SvrDMWriteableDataSource, SvrDMItemPtr&, bool, SvrDMDataSetObserver*>);
static_assert(!std::is_constructible_v<SvrDMWriteableDataSource, const SvrDMItemPtr&, bool,
                                       SvrDMDataSetObserver*>);

// A plain handle is constructed only from an identifier, a name or an item.
static_assert(std::is_constructible_v<SvrDMDataset, ServerDataManager&, LocallyUniqueID>);
static_assert(std::is_constructible_v<SvrDMDataset, LocallyUniqueID>);
static_assert(std::is_constructible_v<SvrDMDataset, std::string>);
static_assert(std::is_constructible_v<SvrDMDataset, const SvrDMItemPtr&>);
static_assert(!std::is_default_constructible_v<SvrDMDataset>);
static_assert(!std::is_constructible_v<SvrDMDataset, const ServerDataManager&, LocallyUniqueID>);

// Each constructor of a plain handle is explicit, because it looks up a dataset or adds a
// reference.
static_assert(!std::is_convertible_v<LocallyUniqueID, SvrDMDataset>);
static_assert(!std::is_convertible_v<std::string, SvrDMDataset>);
static_assert(!std::is_convertible_v<const SvrDMItemPtr&, SvrDMDataset>);

// A counted pointer has no default constructor, but is converted implicitly from a raw pointer,
// which may be null. A const counted pointer gives access to a const object.
static_assert(!std::is_default_constructible_v<SvrDMItemPtr>);
static_assert(!std::is_default_constructible_v<RefCountPtr<SvrDMItem>>);
static_assert(std::is_convertible_v<SvrDMItem*, SvrDMItemPtr>);
static_assert(std::is_convertible_v<SvrDMItem*, RefCountPtr<SvrDMItem>>);
static_assert(std::is_same_v<decltype(std::declval<SvrDMItemPtr&>().get()), SvrDMItem*>);
static_assert(std::is_same_v<decltype(*std::declval<SvrDMItemPtr&>()), SvrDMItem&>);
static_assert(std::is_same_v<decltype(std::declval<SvrDMItemPtr&>().operator->()), SvrDMItem*>);
static_assert(
    std::is_same_v<decltype(std::declval<const SvrDMItemPtr&>().get()), const SvrDMItem*>);
static_assert(std::is_same_v<decltype(*std::declval<const SvrDMItemPtr&>()), const SvrDMItem&>);
static_assert(
    std::is_same_v<decltype(std::declval<const SvrDMItemPtr&>().operator->()), const SvrDMItem*>);

// Readers and writers have the operations of a plain handle.
static_assert(std::is_base_of_v<SvrDMDataset, SvrDMInputDataSource>);
static_assert(std::is_convertible_v<SvrDMWriteableDataSource*, SvrDMInputDataSource*>);

// A registry observer can be deleted through its interface. The other interfaces have no virtual
// destructor, because their operation must have the first slot of the virtual table. Their
// destructor is protected, so that no object can be deleted through them.
static_assert(std::has_virtual_destructor_v<ServerDataManagerObserver>);
static_assert(!std::is_destructible_v<SvrDMDataSetObserver>);
static_assert(!std::is_destructible_v<ORVX_DataSourceFilterHook>);
static_assert(!std::is_destructible_v<PackageProxy>);
static_assert(!std::has_virtual_destructor_v<SvrDMDataSetObserver>);
static_assert(!std::has_virtual_destructor_v<ORVX_DataSourceFilterHook>);
static_assert(!std::has_virtual_destructor_v<PackageProxy>);

// The error monitor is returned as its concrete type, which can switch warnings on and off.
static_assert(std::is_same_v<decltype(std::declval<SvrDMDataset&>().GetErrorMonitor()),
                             InteractiveErrorMonitor&>);
static_assert(std::is_same_v<decltype(std::declval<SvrDMItem&>().GetErrorMonitor()),
                             InteractiveErrorMonitor&>);

// Functions that serialise return a bool; PackageProxy::SendMessage returns a short.
static_assert(
    std::is_same_v<decltype(&ForeignProcess), bool (*)(void*, unsigned int, VStream&,
                                                       void (*)(void*, VStream&), const char*)>);
static_assert(
    std::is_same_v<decltype(std::declval<ErrorMsg&>().Process(std::declval<VStream&>())), bool>);
static_assert(std::is_same_v<decltype(&VSerializable::VSInitSerialization),
                             bool (VSerializable::*)(VStream&)>);
static_assert(std::is_same_v<decltype(&PackageProxy::SendMessage),
                             short (PackageProxy::*)(int, VSerializable*)>);

// Destructors of handles and items end the process rather than throw.
static_assert(std::is_nothrow_destructible_v<SvrDMInputDataSource>);
static_assert(std::is_nothrow_destructible_v<SvrDMWriteableDataSource>);
static_assert(std::is_nothrow_destructible_v<SvrDMItem>);

}  // namespace
