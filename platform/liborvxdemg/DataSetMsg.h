// DataSetMsg: a change message, which describes one change of a dataset.
//
//   std::unique_ptr<DataSetMsg> message = std::make_unique<ModifyVarMsg>(0, dataset, 12, variable);
//   message->ToString();                   // modified variable "age"
//   message->Accept(visitor);              // calls the visitor's operation for a ModifyVarMsg
//   VStream stream;
//   message->VSInitSerialization(stream);  // encodes it; ReadDataSetMsg decodes it

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

// The base class of all change messages. Constructors copy their arguments. After construction,
// only three operations change a message: decoding, SetName and
// ImputationInfoMsg::RowsPerImputation. To decode, default-construct a message and call
// VSInitSerialization with a stream that reads.
//
// Threads: several threads may read one message, but not while it is encoded or decoded.
class SDM_EXPORT DataSetMsg : public VSerializable {
 public:
  // One enumerator for each class of change messages.
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
    Other,  // any other class: its Accept calls no operation of the visitor
  };

  DataSetMsg& operator=(const DataSetMsg&) = delete;

  Kind GetKind() const;

  // A word that the library does not interpret; the server always sends 0.
  unsigned int GetLeading() const { return leading_; }
  // The dataset that changed.
  LocallyUniqueID GetDataSetID() const { return dataSetID_; }
  // The case sequence of the dataset when the message was built.
  unsigned int GetCaseSequence() const { return caseSequence_; }

  // Calls the operation of `visitor` for this message's class. Exceptions of the visitor propagate.
  virtual void Accept(DataSetMsgVisitor& visitor) const = 0;

  // The message in plain English, without the common fields:
  //
  //   deleted variables "popul", "TVnews"
  //   modified variable "age": name "age" -> "years"; label none -> "Age in years"
  //   case data reset: 944 rows
  //
  // Names and texts are quoted but not escaped; line feeds stay. For a message of kind Other,
  // returns the signature.
  //
  // `before` is the dictionary before the message, for example of a DictionaryMirror; it is
  // borrowed for the call. It supplies the names of variables for which the message has only
  // identifiers or positions, and the old definition of a modified variable. If `before` is null
  // or has no such variable, the text gives the identifier or position, and no old definition.
  std::string ToString(const ORVX_DataSource* before = nullptr) const;

 protected:
  // Leading word 0, null identifier, case sequence 0.
  DataSetMsg() = default;
  DataSetMsg(unsigned int leading, LocallyUniqueID dataSetID, unsigned int caseSequence)
      : leading_(leading), dataSetID_(dataSetID), caseSequence_(caseSequence) {}
  DataSetMsg(const DataSetMsg&) = default;

  // Encodes or decodes the three common fields; every Serialize calls it first.
  void SerializeCommon(VStream& stream);

 private:
  unsigned int leading_ = 0;
  LocallyUniqueID dataSetID_;
  unsigned int caseSequence_ = 0;
};

}  // namespace DEMessages

#endif  // LIBORVXDEMG_DATASETMSG_H_
