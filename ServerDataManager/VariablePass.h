// Compares the variables of a dataset with the variables of its snapshot, the view.

#ifndef SERVERDATAMANAGER_VARIABLEPASS_H_
#define SERVERDATAMANAGER_VARIABLEPASS_H_

class ORVX_DataSource;
class SvrDMItem;

namespace sdm_internal {

// Makes the view's variables equal to those of `source`, and queues a message for each difference.
// Sets `anyChange` when the lists differ, and `resetClientData` when a variable has a new type;
// never clears these flags. Makes `source` dirty if a variable's definition changed. If
// CompareVariables throws, for instance std::bad_alloc, the changes made so far stay: the view has
// them and the queue has their messages.
void CompareVariables(ORVX_DataSource& view, ORVX_DataSource& source, SvrDMItem& item,
                      bool& anyChange, bool& resetClientData);

// Replaces all variables of the view by those of `source`. Queues two messages, a deletion and an
// insertion, even for empty lists. If it throws, nothing has changed, or the view is empty and only
// the deletion is queued.
void ReplaceVariables(ORVX_DataSource& view, const ORVX_DataSource& source, SvrDMItem& item);

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_VARIABLEPASS_H_
