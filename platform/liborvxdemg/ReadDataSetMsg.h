// ReadDataSetMsg: the next change message from a stream, whichever it is.

#ifndef LIBORVXDEMG_READDATASETMSG_H_
#define LIBORVXDEMG_READDATASETMSG_H_

#include <ServerDataManager/Export.h>
#include <memory>

#include <liborvxdemg/DEMessagesFwd.h>

class VStream;

namespace DEMessages {

// Reads one message, as VSInitSerialization wrote it, from the reading position and moves behind
// it. Throws VStreamError where no message of the family stands there (unknown signature or
// version, bytes cut off, a value that no message can hold); the position is then of no more use.
//
// Threads: one for each stream.
SDM_EXPORT std::unique_ptr<DataSetMsg> ReadDataSetMsg(VStream& stream);

}  // namespace DEMessages

using DEMessages::ReadDataSetMsg;

#endif  // LIBORVXDEMG_READDATASETMSG_H_
