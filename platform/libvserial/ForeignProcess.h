// Encoding and decoding whole objects: signature, version and fields.

#ifndef LIBVSERIAL_FOREIGNPROCESS_H_
#define LIBVSERIAL_FOREIGNPROCESS_H_

#include <ServerDataManager/Export.h>
#include <string>
#include <string_view>

class VStream;

// Encodes or decodes `object`, depending on the direction of the stream: the signature as a String,
// the version as a Uint32, then the fields with one call of `vswitch(object, stream)`. Returns
// true.
//
// Decoding throws VStreamError, before the call of `vswitch`, if the signature or the version
// differs. Exceptions of `vswitch` propagate. `object` is only passed to `vswitch`.
//
// Threads: the thread that uses the stream.
SDM_EXPORT bool ForeignProcess(void* object, unsigned int version, VStream& stream,
                               void (*vswitch)(void*, VStream&), const char* signature);

// Returns the signature of the object at the current position, to choose the class to decode. Does
// not move the position. Throws VStreamError if there is no signature, or the stream writes.
SDM_EXPORT std::string PeekSignature(const VStream& stream);

// Formats a received signature for an error text: in quotes, truncated after 64 bytes, with
// control and non-ASCII bytes as \xNN.
//
// Threads: any.
SDM_EXPORT std::string QuotedSignature(std::string_view signature);

#endif  // LIBVSERIAL_FOREIGNPROCESS_H_
