// Puts the exceptions of the library into words.

#include "CommandError.h"

#include "Output.h"

#include <liborvxdemg/ErrorMsg.h>

#include <new>

namespace sdmsh {
namespace {

constexpr unsigned int kNoSuchDataset = 2001;

std::string InWords(const ErrorMsg& error) {
  const std::string code = "error " + std::to_string(error.GetCode());
  if (error.GetCode() == kNoSuchDataset) return "no dataset has this identifier (" + code + ")";
  return error.GetText().empty() ? code : error.GetText() + " (" + code + ")";
}

}  // namespace

CommandError::CommandError(const std::string& text) : std::runtime_error(OnOneLine(text)) {}

std::string ExceptionInWords() {
  try {
    throw;
  } catch (const ErrorMsg& error) {
    return InWords(error);
  } catch (int number) {
    return "the lock could not be taken (error " + std::to_string(number) + ")";
  } catch (const std::bad_alloc&) {
    return "not enough memory";
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace sdmsh
