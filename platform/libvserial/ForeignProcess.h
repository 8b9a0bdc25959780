// Writing and reading whole objects: what stands before their fields.

#ifndef LIBVSERIAL_FOREIGNPROCESS_H_
#define LIBVSERIAL_FOREIGNPROCESS_H_

#include <ServerDataManager/Export.h>
#include <string>

class VStream;

// Writes `object` to the stream, or reads it from there, by the stream's direction: the signature
// as a String, the version as a Uint32, then the fields, by calling `vswitch(object, stream)` once.
// Returns true.
//
// Reading throws VStreamError where the signature is another or the version is not `version`,
// before `vswitch` is called; what `vswitch` throws passes on. `object` is only handed through.
//
// Threads: the thread that uses the stream.
SDM_EXPORT bool ForeignProcess(void* object, unsigned int version, VStream& stream,
                               void (*vswitch)(void*, VStream&), const char* signature);

// The signature of the object that stands at the reading position, which does not move: tells which
// class to make before reading. Throws VStreamError where none stands there, also for a stream that
// writes.
SDM_EXPORT std::string PeekSignature(const VStream& stream);

#endif  // LIBVSERIAL_FOREIGNPROCESS_H_
