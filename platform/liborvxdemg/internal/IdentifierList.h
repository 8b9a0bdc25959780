// IdentifierList: the encoding of a list of identifiers in change messages.

#ifndef LIBORVXDEMG_INTERNAL_IDENTIFIERLIST_H_
#define LIBORVXDEMG_INTERNAL_IDENTIFIERLIST_H_

#include <cstdint>
#include <vector>

#include <libvserial/VStream.h>
#include <ServerDataManager/ErrorMessageGlue.h>

namespace DEMessages {

// Encodes or decodes the number of identifiers, then each identifier.
inline void SerializeIDs(VStream& stream, std::vector<LocallyUniqueID>& ids) {
  const std::uint32_t count = stream.Count(ids.size(), sizeof(std::uint32_t));
  if (!stream.Writing()) ids.resize(count);
  for (LocallyUniqueID& id : ids) SerializeID(stream, id);
}

}  // namespace DEMessages

#endif  // LIBORVXDEMG_INTERNAL_IDENTIFIERLIST_H_
