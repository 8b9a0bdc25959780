// VSerializable: base class of objects that are sent between processes.

#ifndef LIBVSERIAL_VSERIALIZABLE_H_
#define LIBVSERIAL_VSERIALIZABLE_H_

#include <libvutility/VUGlobal.h>
#include <ServerDataManager/Export.h>

#include <string>

class VStream;

// Memory comes from VUGlobal, so an object may be created in one library and deleted in another.
// The order of the virtual functions (destructor, SetName, VSClone, VSInitSerialization,
// VSConcreteSignature) is fixed: other binaries call them by slot. Derived classes add their
// virtual functions after these.
//
// Threads: a plain value; one thread at a time.
class SDM_EXPORT VSerializable : public VUGlobal {
 public:
  VSerializable() = default;
  // The name belongs to the object: a copy has none, and assignment does not change it.
  VSerializable(const VSerializable&) noexcept {}
  VSerializable& operator=(const VSerializable&) noexcept { return *this; }
  virtual ~VSerializable();

  // Sets a name for the application's own use. Copies `name`, which is never serialised; null
  // clears the name.
  virtual void SetName(const char* name);

  // Copies the object, without its name. The caller owns the copy.
  virtual VSerializable* VSClone() const = 0;

  // Encodes or decodes this object: signature, version and fields (see ForeignProcess). Returns
  // true. Decoding throws VStreamError if the bytes are not an object of this class; this object
  // may then be partly decoded. Encoding throws if a field cannot be encoded (see VStream).
  virtual bool VSInitSerialization(VStream& stream) = 0;

  // The signature of the object's class. Never null; valid for the lifetime of the program.
  virtual const char* VSConcreteSignature() const = 0;

  // The name from SetName, or "". Never null; valid until the next SetName.
  const char* Name() const noexcept { return name_.c_str(); }

 private:
  std::string name_;
};

#endif  // LIBVSERIAL_VSERIALIZABLE_H_
