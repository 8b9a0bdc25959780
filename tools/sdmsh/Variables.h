// Variables by name, and changes under the caller's write lock: what commands on dictionaries have
// in common.
//
// Each operation refuses, with CommandError, what it cannot do.

#ifndef SDMSH_VARIABLES_H_
#define SDMSH_VARIABLES_H_

#include <libdatasrc/ORVX_Variable.h>
#include <ServerDataManager/LocallyUniqueID.h>

#include <functional>
#include <string>
#include <vector>

class ORVX_DataSource;
class SvrDMWriteableDataSource;

namespace sdmsh {

class Caller;
class OpenDataset;

// Copies of all of them, in their order.
std::vector<ORVX_Variable> VariablesOf(const ORVX_DataSource& source);

// The variables that split the file; empty for no split.
std::vector<LocallyUniqueID> SplitOf(const ORVX_DataSource& source);

// Positions from 0. Each operation refuses a name that no variable has; names are case-sensitive.
int PositionOf(const ORVX_DataSource& source, const std::string& name);
// Refuses a string, too. `does` says for the error what the number is for: "weights cases".
int NumberPositionOf(const ORVX_DataSource& source, const std::string& name,
                     const std::string& does);
// Refuses a name that stands twice, too.
std::vector<int> PositionsOf(const ORVX_DataSource& source, const std::vector<std::string>& names);

// Refuses an empty name, and one that a variable has.
void RefuseTakenName(const ORVX_DataSource& source, const std::string& name);

// Runs `change` on the caller's thread with the caller's writer. Refuses a caller that does not
// hold the write lock.
void Write(Caller& caller, const OpenDataset& dataset,
           const std::function<void(SvrDMWriteableDataSource&)>& change);

// The writer's data source. Refuses a dataset that has none.
ORVX_DataSource& SourceOf(SvrDMWriteableDataSource& writer, const OpenDataset& dataset);

// Write with the data source.
void EditSource(Caller& caller, const OpenDataset& dataset,
                const std::function<void(ORVX_DataSource&)>& edit);

}  // namespace sdmsh

#endif  // SDMSH_VARIABLES_H_
