// Names of the change messages and their company, without their definitions.
//
// They live in namespace DEMessages, as their signatures say, and are used by their plain names.

#ifndef LIBORVXDEMG_DEMESSAGESFWD_H_
#define LIBORVXDEMG_DEMESSAGESFWD_H_

namespace DEMessages {
class DataSetMsg;
class DataSetMsgVisitor;
class DeleteVarsMsg;
class ErrorMsg;
class InsertVarsMsg;
class ModifyVarMsg;
class MoveVarsMsg;
class ResetUndoMsg;
}  // namespace DEMessages

using DEMessages::DataSetMsg;
using DEMessages::DataSetMsgVisitor;
using DEMessages::DeleteVarsMsg;
using DEMessages::ErrorMsg;
using DEMessages::InsertVarsMsg;
using DEMessages::ModifyVarMsg;
using DEMessages::MoveVarsMsg;
using DEMessages::ResetUndoMsg;

#endif  // LIBORVXDEMG_DEMESSAGESFWD_H_
