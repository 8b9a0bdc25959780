// VSerializable: the base of objects that travel between processes.

#ifndef LIBVSERIAL_VSERIALIZABLE_H_
#define LIBVSERIAL_VSERIALIZABLE_H_

#include <libvutility/VUGlobal.h>
#include <ServerDataManager/Export.h>

#include <string>

class VStream;

// Storage comes from VUGlobal, so an object may be made in one library and deleted in another.
// Other binaries call through the virtual table: its order (destructor, SetName, VSClone,
// VSInitSerialization, VSConcreteSignature) is fixed, and derived classes add after it.
//
// Threads: a plain value; one thread at a time.
class SDM_EXPORT VSerializable : public VUGlobal {
 public:
  VSerializable() = default;
  // The name belongs to one object: a copy has none, and assigning leaves it as it is.
  VSerializable(const VSerializable&) noexcept {}
  VSerializable& operator=(const VSerializable&) noexcept { return *this; }
  virtual ~VSerializable();

  // Names this object for its user; the name is copied here and never serialised. Null clears it.
  virtual void SetName(const char* name);

  // A copy of the whole object, without its name. The caller owns it.
  virtual VSerializable* VSClone() const = 0;

  // Writes this object to `stream`, or reads it from there: the signature, the version, the fields
  // (see ForeignProcess). True when done; throws VStreamError where the bytes read are not such an
  // object, which then may have been read in part.
  virtual bool VSInitSerialization(VStream& stream) = 0;

  // The signature of the object's own class. Never null; lasts as long as the program.
  virtual const char* VSConcreteSignature() const = 0;

  // The name that SetName gave, else empty. Never null; valid until the next SetName.
  const char* Name() const noexcept { return name_.c_str(); }

 private:
  std::string name_;
};

#endif  // LIBVSERIAL_VSERIALIZABLE_H_
