// IdentifierList: the wire form of a list of identifiers, as the change messages carry it.

#ifndef LIBORVXDEMG_INTERNAL_IDENTIFIERLIST_H_
#define LIBORVXDEMG_INTERNAL_IDENTIFIERLIST_H_

#include <cstdint>
#include <vector>

#include <libvserial/VStream.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// Transfers the number of identifiers, then each of them.
inline void SerializeIDs(VStream& stream, std::vector<LocallyUniqueID>& ids) {
  const std::uint32_t count = stream.Count(ids.size(), sizeof(std::uint32_t));
  if (!stream.Writing()) ids.resize(count);
  for (LocallyUniqueID& id : ids) SerializeID(stream, id);
}

}  // namespace DEMessages

#endif  // LIBORVXDEMG_INTERNAL_IDENTIFIERLIST_H_
