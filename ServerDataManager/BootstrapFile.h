// BootstrapFile: bootstrap specifications in files, in the encoding of SvrBootstrapSpecsSerializer.
//
//   BootstrapFile::Save(*dataset.GetBootstrapSpecs(), "age.bootstrap");
//   writer.SetBootstrapSpecs(BootstrapFile::Load("age.bootstrap").release());

#ifndef SERVERDATAMANAGER_BOOTSTRAPFILE_H_
#define SERVERDATAMANAGER_BOOTSTRAPFILE_H_

#include <ServerDataManager/Export.h>
#include <ServerDataManager/SvrBootstrapSpecsSerializer.h>

#include <cstddef>
#include <memory>
#include <string>

class SvrBootstrapSpecs;

// Each function throws DataFileError with the path and the reason if it fails. Only regular files
// of at most 16 MiB are read and written.
//
// Threads: any.
namespace BootstrapFile {

// Writes the bootstrap specification to a file, and returns the size of the file in bytes. Writes a
// new file in the same folder and renames it to `path`, so that the file at `path` always has
// either its former bytes or all of the new bytes. Keeps the permissions of an existing file;
// follows symbolic links and does not replace them. Refuses to replace a file that is not empty and
// does not begin with a bootstrap specification.
SDM_EXPORT std::size_t Save(const SvrBootstrapSpecs& specs, const std::string& path);

// Reads a bootstrap specification, in either byte order. Refuses invalid bytes, incomplete bytes,
// and bytes after the bootstrap specification.
SDM_EXPORT std::unique_ptr<SvrBootstrapSpecs> Load(const std::string& path);

struct Checked {
  SvrBootstrapSpecsSerializer::Check check;
  std::size_t fileSize;  // in bytes
};

// Checks whether the file begins with a bootstrap specification, as
// SvrBootstrapSpecsSerializer::checkSpecs does. Throws only if the file cannot be read.
SDM_EXPORT Checked Check(const std::string& path);

}  // namespace BootstrapFile

#endif  // SERVERDATAMANAGER_BOOTSTRAPFILE_H_
