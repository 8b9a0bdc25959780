#include <libdatasrc/DataFileError.h>

DataFileError::DataFileError(const std::string& file, const std::string& text)
    : std::runtime_error(file + ": " + text), file_(file) {}

DataFileError::DataFileError(const std::string& file, long line, long column,
                             const std::string& text)
    : std::runtime_error(file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " +
                         text),
      file_(file),
      line_(line),
      column_(column) {}

DataFileError::~DataFileError() = default;
