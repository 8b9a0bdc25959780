// ReadDataSetMsg: decodes the next change message of a stream, of any class.

#ifndef LIBORVXDEMG_READDATASETMSG_H_
#define LIBORVXDEMG_READDATASETMSG_H_

#include <ServerDataManager/Export.h>
#include <memory>

#include <liborvxdemg/DEMessagesFwd.h>

class VStream;

namespace DEMessages {

// Decodes one message at the current position, as VSInitSerialization encoded it, and moves past
// it. Throws VStreamError if there is no valid change message (unknown signature or version,
// truncated bytes, an invalid value); the position is then unspecified.
//
// Threads: one thread at a time for each stream.
SDM_EXPORT std::unique_ptr<DataSetMsg> ReadDataSetMsg(VStream& stream);

}  // namespace DEMessages

using DEMessages::ReadDataSetMsg;

#endif  // LIBORVXDEMG_READDATASETMSG_H_
