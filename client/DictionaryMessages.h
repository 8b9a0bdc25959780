// The change messages that say everything about a dictionary that messages can say.
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

// The messages that make the dictionary of `source` out of an empty one: one with all variables,
// then the properties. They bear the given dataset and case sequence.
//
// Threads: any that may read the source.
SDM_EXPORT OwnedMessages DictionaryMessages(const ORVX_DataSource& source, LocallyUniqueID dataset,
                                            unsigned int caseSequence);

// Those of the properties alone: one message for each that messages carry, in the order in which
// changes are told, whatever its value. Properties that are equal for a client have messages with
// equal bytes: no label and an empty one, an absent extension and an empty one.
SDM_EXPORT OwnedMessages PropertyMessages(const ORVX_DataSource& source, LocallyUniqueID dataset,
                                          unsigned int caseSequence);

#endif  // CLIENT_DICTIONARYMESSAGES_H_
