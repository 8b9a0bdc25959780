// QueueMessage() builds and queues a change message. Atomically() runs a change and, if the change
// throws, removes the messages that it has queued.

#ifndef SERVERDATAMANAGER_QUEUEMESSAGE_H_
#define SERVERDATAMANAGER_QUEUEMESSAGE_H_

#include <ServerDataManager/svrdmitem.h>

#include <cstddef>
#include <utility>

namespace sdm_internal {

// Builds a Message with the leading word 0 (DataSetMsg::GetLeading), the dataset's identifier and
// case sequence, and `arguments`. Queues the message on the item, which owns it.
template <class Message, class... Arguments>
void QueueMessage(SvrDMItem& item, Arguments&&... arguments) {
  const unsigned int caseSequence = std::as_const(item).CaseSequence();
  item.AddNotification(
      new Message(0, item.ID(), caseSequence, std::forward<Arguments>(arguments)...));
}

// Runs `step`, which queues messages on the item and makes the change that they describe. If `step`
// throws, removes the messages that `step` queued, and rethrows.
template <class Step>
void Atomically(SvrDMItem& item, const Step& step) {
  const std::size_t before = item.Notifications().size();
  try {
    step();
  } catch (...) {
    item.TruncateNotifications(before);
    throw;
  }
}

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_QUEUEMESSAGE_H_
