// Forward declarations of the change messages and related classes.
//
// The classes are in namespace DEMessages, which is part of their signatures. This header also
// makes their names available without the namespace.

#ifndef LIBORVXDEMG_DEMESSAGESFWD_H_
#define LIBORVXDEMG_DEMESSAGESFWD_H_

namespace DEMessages {
class DataSetModifiedMsg;
class DataSetMsg;
class DataSetMsgVisitor;
class DeleteVarsMsg;
class ErrorMsg;
class ExtensionsMsg;
class FileLabelChangeMsg;
class FileSpecChangeMsg;
class FilterVarMsg;
class ImputationInfoMsg;
class InsertVarsMsg;
class ModifyVarMsg;
class MoveVarsMsg;
class ResetClientDataMsg;
class ResetUndoMsg;
class SplitFileMsg;
class TrendsInfoMsg;
class WeightVarMsg;
}  // namespace DEMessages

using DEMessages::DataSetModifiedMsg;
using DEMessages::DataSetMsg;
using DEMessages::DataSetMsgVisitor;
using DEMessages::DeleteVarsMsg;
using DEMessages::ErrorMsg;
using DEMessages::ExtensionsMsg;
using DEMessages::FileLabelChangeMsg;
using DEMessages::FileSpecChangeMsg;
using DEMessages::FilterVarMsg;
using DEMessages::ImputationInfoMsg;
using DEMessages::InsertVarsMsg;
using DEMessages::ModifyVarMsg;
using DEMessages::MoveVarsMsg;
using DEMessages::ResetClientDataMsg;
using DEMessages::ResetUndoMsg;
using DEMessages::SplitFileMsg;
using DEMessages::TrendsInfoMsg;
using DEMessages::WeightVarMsg;

#endif  // LIBORVXDEMG_DEMESSAGESFWD_H_
