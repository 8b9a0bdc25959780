// The types of extensions in ExtensionsMsg, and TextBlock, which makes a block from a text.
//
// Header-only, so that it is also available if a vendor's library replaces liborvxdemg.

#ifndef LIBORVXDEMG_EXTENSIONTYPES_H_
#define LIBORVXDEMG_EXTENSIONTYPES_H_

#include <string_view>

#include <libdatasrc/ORVX_ExtensionImpl.h>
#include <ServerDataManager/RefCountPtr.h>

namespace DEMessages {

// Messages carry only this extension of a data source. The other types in this file are for
// properties that are not extensions but are sent as text in an ExtensionsMsg.
inline constexpr int kOwnExtension = 0;

// Text of sets, as MakeExtension writes it. The multiple-response sets are sent in two messages, as
// types 7 and 19, with the same text.
inline constexpr int kVariableSetsText = 5;
inline constexpr int kMRSetsText = 7;
inline constexpr int kMRSetsSecondText = 19;

// Text of attributes, as DatasourceAttributes::MakeString writes it.
inline constexpr int kAttributesText = 17;

// The version of every block with text.
inline constexpr int kTextBlockVersion = 1;

// Returns a block with a copy of `text`, without a terminating zero.
// Threads: any.
inline RefCountPtr<ORVX_ExtensionImpl> TextBlock(int type, std::string_view text) {
  return RefCountPtr<ORVX_ExtensionImpl>(
      new ORVX_ExtensionImpl(type, kTextBlockVersion, static_cast<long>(text.size()), text.data()));
}

}  // namespace DEMessages

#endif  // LIBORVXDEMG_EXTENSIONTYPES_H_
