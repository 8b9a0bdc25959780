// DictionaryJson: variables, dictionaries and change messages as JSON, for programs that log or
// show them. The shell prints this JSON in its events; docs/usage.md lists the members.
//
//   void OnMessage(const DEMessages::DataSetMsg& message) {
//     log << DictionaryJson::Change(message, mirror.Dictionary()) << "\n";
//     mirror.Apply(message);
//   }

#ifndef CLIENT_DICTIONARYJSON_H_
#define CLIENT_DICTIONARYJSON_H_

#include <liborvxdemg/DEMessagesFwd.h>
#include <ServerDataManager/Export.h>

#include <string>

class ORVX_DataSource;

// Each function returns JSON on one line, with the members always in the same order.
//
// Where an identifier refers to a variable, the variable's name is also given; the name is null if
// the dictionary has no such variable. A missing number is null, an infinite number a string,
// "Infinity" or "-Infinity". Bytes that are not UTF-8 become U+FFFD.
//
// Threads: any thread that may read the dictionary.
namespace DictionaryJson {

// An array with one object for each variable, which has the variable's whole definition.
SDM_EXPORT std::string Variables(const ORVX_DataSource& dictionary);

// An object with the properties of the dictionary; of its extensions, only extension 0.
SDM_EXPORT std::string Properties(const ORVX_DataSource& dictionary);

// An object with the members that all messages have, such as the name of the message; the arguments
// of this message; and names and old values from `before`, the dictionary before the message is
// applied. If `before` does not have a modified variable, the old definition is that of an empty
// variable. Throws std::invalid_argument if the message has invalid text of sets or attributes.
SDM_EXPORT std::string Change(const DEMessages::DataSetMsg& message, const ORVX_DataSource& before);

}  // namespace DictionaryJson

#endif  // CLIENT_DICTIONARYJSON_H_
