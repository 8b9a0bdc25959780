// Queue: builds a change message about a dataset and hands it over.

#ifndef SERVERDATAMANAGER_QUEUE_H_
#define SERVERDATAMANAGER_QUEUE_H_

#include <ServerDataManager/svrdmitem.h>

// Builds a Message from the three arguments that every change message begins with and from
// `arguments`, and queues it on the item, which owns it.
template <class Message, class... Arguments>
void Queue(SvrDMItem& item, const Arguments&... arguments) {
  const SvrDMItem& facts = item;
  item.AddNotification(new Message(0, facts.ID(), facts.CaseSequence(), arguments...));
}

#endif  // SERVERDATAMANAGER_QUEUE_H_
