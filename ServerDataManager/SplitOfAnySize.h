// SetSplitOfAnySize: a snapshot's split, however many variables the source reports.

#ifndef SERVERDATAMANAGER_SPLITOFANYSIZE_H_
#define SERVERDATAMANAGER_SPLITOFANYSIZE_H_

namespace sdm_internal {

// Splits `source` by the variables at the `count` positions in `indices`. Uses the operation of
// this name where the platform has it, and SetSplit, with whatever limit that has, where it does
// not.
template <class Source>
void SetSplitOfAnySize(Source& source, unsigned int count, const int* indices, bool separate) {
  if constexpr (requires { source.SetSplitOfAnySize(count, indices, separate); }) {
    source.SetSplitOfAnySize(count, indices, separate);
  } else {
    source.SetSplit(count, indices, separate);
  }
}

}  // namespace sdm_internal

#endif  // SERVERDATAMANAGER_SPLITOFANYSIZE_H_
