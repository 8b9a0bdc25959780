// DataSetMsg: one change of a dataset, told to those who follow it.
//
//   std::unique_ptr<DataSetMsg> message = std::make_unique<ModifyVarMsg>(0, dataset, 12, variable);
//   message->ToString();                   // modified variable "age"
//   message->Accept(visitor);              // calls the visitor's operation for a ModifyVarMsg
//   VStream stream;
//   message->VSInitSerialization(stream);  // ReadDataSetMsg gives it back on the other side

#ifndef LIBORVXDEMG_DATASETMSG_H_
#define LIBORVXDEMG_DATASETMSG_H_

#include <string>

#include <liborvxdemg/DEMessagesFwd.h>
#include <libvserial/VSerializable.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

class ORVX_DataSource;
class VStream;

namespace DEMessages {

// What all change messages have in common. A message never changes once it is built, except where
// an operation says otherwise, and that VSInitSerialization on a reading stream fills it; a
// default-constructed one is made for that. It carries copies of what it was given.
//
// Threads: any number may look at one message at a time. Not while it is being read from a stream.
class SDM_EXPORT DataSetMsg : public VSerializable {
 public:
  // One for each class of the family.
  enum class Kind {
    InsertVars,
    DeleteVars,
    MoveVars,
    ModifyVar,
    ResetUndo,
    ImputationInfo,
    FileSpecChange,
    FileLabelChange,
    WeightVar,
    FilterVar,
    TrendsInfo,
    SplitFile,
    Extensions,
    ResetClientData,
    DataSetModified,
    Other,  // a class of somebody else's, whose Accept calls no operation
  };

  DataSetMsg& operator=(const DataSetMsg&) = delete;

  Kind GetKind() const;

  // A word without a meaning on this side; 0 in every message of the server's.
  unsigned int GetLeading() const { return leading_; }
  // The dataset that changed.
  LocallyUniqueID GetDataSetID() const { return dataSetID_; }
  // The dataset's case sequence number when the message was built.
  unsigned int GetCaseSequence() const { return caseSequence_; }

  // Calls the one operation of `visitor` that takes this message's class. What it throws passes on.
  virtual void Accept(DataSetMsgVisitor& visitor) const = 0;

  // The message in plain English, without the common fields, as in
  //
  //   deleted variables "popul", "TVnews"
  //   case data reset: 944 rows
  //
  // Names and texts stand between quotation marks as they are, line feeds included. Messages know
  // some variables by identifier or position alone; these are named from `before`, borrowed for the
  // call: the dictionary as it is before the message, in a DictionaryMirror for instance. Where it
  // is null, or has no such variable, identifiers stand for names. For a message of kind Other, the
  // signature.
  std::string ToString(const ORVX_DataSource* before = nullptr) const;

 protected:
  // Leading word 0, null identifier, case sequence 0.
  DataSetMsg() = default;
  DataSetMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence)
      : leading_(leading), dataSetID_(dataSetID), caseSequence_(caseSequence) {}
  DataSetMsg(const DataSetMsg&) = default;

  // Transfers the three common fields; each message's Serialize begins with it.
  void SerializeCommon(VStream& stream);

 private:
  unsigned int leading_ = 0;
  LocallyUniqueID dataSetID_;
  unsigned int caseSequence_ = 0;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_DATASETMSG_H_
