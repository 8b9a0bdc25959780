// The serialisation glue: how a message class meets the serialisation layer, written once for the
// error messages and, since theirs is the same, the change messages.
//
//   class Greeting : public MessageGlue<Greeting> {
//    public:
//     static const char* VSignature() { return "Example::Greeting"; }
//     static unsigned int Version() { return 1; }
//     void Serialize(VStream& stream) { stream.String(text_); }
//     ...
//   };
//
// Header-only, and on the ground floor: message libraries use it without linking this one.

#ifndef SERVERDATAMANAGER_ERRORMESSAGEGLUE_H_
#define SERVERDATAMANAGER_ERRORMESSAGEGLUE_H_

#include <ServerDataManager/Export.h>
#include <cstdint>

#include <libvserial/ForeignProcess.h>
#include <libvserial/VSerializable.h>
#include <libvserial/VStream.h>
#include <ServerDataManager/LocallyUniqueID.h>

// Derives from `Base`, which is VSerializable or a class of its family, and overrides the virtual
// operations that VSerializable declares; it adds none. `Message` is the class that derives from
// this one. It supplies
//
//   static const char* VSignature()    the name it travels under, namespace included
//   static unsigned int Version()      the version of its wire form
//   void Serialize(VStream&)           writes its fields, or reads them over its own
//   a public copy constructor          for VSClone
//
// Copies do not carry the name given with SetName: VSerializable's copy constructor starts afresh.
//
// Threads: as `Message`; nothing here is shared.
template <class Message, class Base = VSerializable>
class SDM_EXPORT MessageGlue : public Base {
 public:
  // `object` is a Message, passed as the address of that very type.
  static void VSwitch(void* object, VStream& stream) {
    static_cast<Message*>(object)->Serialize(stream);
  }

  // Writes signature, version and fields, or reads them into this object. True on success. Throws
  // VStreamError where the bytes are not this message in this version, or end too early; the object
  // then holds what was read so far and is fit for destruction only.
  bool Process(VStream& stream) {
    return ForeignProcess(static_cast<Message*>(this), Message::Version(), stream, VSwitch,
                          Message::VSignature());
  }

  // The caller owns the copy. A new-expression uses VUGlobal's allocator, since Message derives
  // from VUGlobal, and gives the storage back to it where the copy constructor throws.
  VSerializable* VSClone() const override {
    return new Message(static_cast<const Message&>(*this));
  }

  bool VSInitSerialization(VStream& stream) override { return Process(stream); }

  const char* VSConcreteSignature() const override { return Message::VSignature(); }

 protected:
  using Base::Base;
};

// Transfers an identifier as its 32-bit word.
inline void SerializeID(VStream& stream, LocallyUniqueID& id) {
  std::uint32_t word = id.Word();
  stream.Uint32(word);
  id = LocallyUniqueID::FromWord(word);
}

#endif  // SERVERDATAMANAGER_ERRORMESSAGEGLUE_H_
