// DictionaryMessages: the change messages that build a whole dictionary.
//
//   DictionaryMirror late;
//   late.Apply(DictionaryMessages(source, id, sequence));

#ifndef CLIENT_DICTIONARYMESSAGES_H_
#define CLIENT_DICTIONARYMESSAGES_H_

#include <liborvxdemg/DataSetMsg.h>
#include <ServerDataManager/Export.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <memory>
#include <vector>

class ORVX_DataSource;

using OwnedMessages = std::vector<std::unique_ptr<DataSetMsg>>;

// The messages that build the dictionary of `source` from an empty dictionary: one message with all
// variables, then the messages of the properties. All messages have the given dataset and case
// sequence.
//
// Threads: any thread that may read the source.
SDM_EXPORT OwnedMessages DictionaryMessages(const ORVX_DataSource& source, LocallyUniqueID dataset,
                                            unsigned int caseSequence);

// Only the messages of the properties that DigestOf includes: one for each property, and two for
// the multiple-response sets, in the order of a notification pass. A property with its default
// value also has a message. An absent label is encoded like an empty label, and an absent extension
// like an empty extension, because clients do not distinguish them.
SDM_EXPORT OwnedMessages PropertyMessages(const ORVX_DataSource& source, LocallyUniqueID dataset,
                                          unsigned int caseSequence);

#endif  // CLIENT_DICTIONARYMESSAGES_H_
