// MessageGlue: implements VSerializable for the error messages and the change messages.
//
//   class Greeting : public MessageGlue<Greeting> {
//    public:
//     static const char* VSignature() { return "Example::Greeting"; }
//     static unsigned int Version() { return 1; }
//     void Serialize(VStream& stream) { stream.String(text_); }
//     ...
//   };
//
// Header-only: the message libraries use it without linking this library.

#ifndef SERVERDATAMANAGER_ERRORMESSAGEGLUE_H_
#define SERVERDATAMANAGER_ERRORMESSAGEGLUE_H_

#include <ServerDataManager/Export.h>
#include <cstdint>

#include <libvserial/ForeignProcess.h>
#include <libvserial/VSerializable.h>
#include <libvserial/VStream.h>
#include <ServerDataManager/LocallyUniqueID.h>

// Overrides the virtual functions of VSerializable and adds none. `Base` is VSerializable or a
// class derived from it. `Message` is the class that derives from MessageGlue; it supplies
//
//   static const char* VSignature()    its signature, namespace included
//   static unsigned int Version()      the version of its encoding
//   void Serialize(VStream&)           encodes its fields, or decodes and replaces them
//   a public copy constructor          for VSClone
//
// A copy does not have the name that VSerializable::SetName gave the original.
//
// Threads: the same as for `Message`.
template <class Message, class Base = VSerializable>
class SDM_EXPORT MessageGlue : public Base {
 public:
  // The callback for ForeignProcess. `object` must point to a Message, not to one of its base
  // classes.
  static void VSwitch(void* object, VStream& stream) {
    static_cast<Message*>(object)->Serialize(stream);
  }

  // Encodes signature, version and fields, or decodes them into this object. Returns true. Throws
  // VStreamError if the bytes are too short, or are not this message in this version. After a throw
  // the object may be partly decoded: only destroy it.
  bool Process(VStream& stream) {
    return ForeignProcess(static_cast<Message*>(this), Message::Version(), stream, VSwitch,
                          Message::VSignature());
  }

  // The caller owns the copy. `new` uses the allocator of VUGlobal, a base of Message, and frees
  // the memory if the copy constructor throws.
  VSerializable* VSClone() const override {
    return new Message(static_cast<const Message&>(*this));
  }

  bool VSInitSerialization(VStream& stream) override { return Process(stream); }

  const char* VSConcreteSignature() const override { return Message::VSignature(); }

 protected:
  using Base::Base;
};

// Encodes or decodes an identifier as its 32-bit word.
inline void SerializeID(VStream& stream, LocallyUniqueID& id) {
  std::uint32_t word = id.Word();
  stream.Uint32(word);
  if (!stream.Writing()) id = LocallyUniqueID::FromWord(word);
}

#endif  // SERVERDATAMANAGER_ERRORMESSAGEGLUE_H_
