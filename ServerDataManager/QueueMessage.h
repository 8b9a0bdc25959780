// QueueMessage: builds a change message about a dataset and hands it over.

#ifndef SERVERDATAMANAGER_QUEUEMESSAGE_H_
#define SERVERDATAMANAGER_QUEUEMESSAGE_H_

#include <ServerDataManager/svrdmitem.h>

#include <utility>

namespace sdm_internal {

// Builds a Message from 0, the dataset's identifier, its case sequence number and `arguments`, and
// queues it on the item, which owns it.
template <class Message, class... Arguments>
void QueueMessage(SvrDMItem& item, const Arguments&... arguments) {
  const unsigned int caseSequence = std::as_const(item).CaseSequence();
  item.AddNotification(new Message(0, item.ID(), caseSequence, arguments...));
}

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_QUEUEMESSAGE_H_
