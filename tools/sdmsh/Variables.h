// Variables: the shared functions of commands on dictionaries. Find variables by name, and change
// a dictionary under the caller's write lock.
//
// "Refuses" means: throws CommandError and changes nothing.

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

// Copies of all variables, in the order of the source.
std::vector<ORVX_Variable> VariablesOf(const ORVX_DataSource& source);

// The split variables; empty if there is no split.
std::vector<LocallyUniqueID> SplitOf(const ORVX_DataSource& source);

// Positions count from 0. These functions refuse a name that no variable has. Names are
// case-sensitive.
int PositionOf(const ORVX_DataSource& source, const std::string& name);
// Also refuses a string variable. `does` is the part of the error text that gives the purpose of
// the number: "weights cases".
int NumberPositionOf(const ORVX_DataSource& source, const std::string& name,
                     const std::string& does);
// Also refuses a name that occurs twice.
std::vector<int> PositionsOf(const ORVX_DataSource& source, const std::vector<std::string>& names);

// Refuses an empty name, and the name of a variable.
void RefuseTakenName(const ORVX_DataSource& source, const std::string& name);

// Runs `change` on the caller's thread with the caller's writer. Refuses a caller that does not
// hold the write lock, or that waits for another lock.
void Write(Caller& caller, const OpenDataset& dataset,
           const std::function<void(SvrDMWriteableDataSource&)>& change);

// The writer's data source. Refuses a dataset that has no data source.
ORVX_DataSource& SourceOf(SvrDMWriteableDataSource& writer, const OpenDataset& dataset);

// Like Write, but passes `edit` the data source. Refuses a dataset that has no data source.
void EditSource(Caller& caller, const OpenDataset& dataset,
                const std::function<void(ORVX_DataSource&)>& edit);

}  // namespace sdmsh

#endif  // SDMSH_VARIABLES_H_
