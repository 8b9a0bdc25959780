# What libServerDataManager.so shows to other binaries: its public classes and its one public function,
# and nothing else. And no platform library asks for any of it: calls go one way.
#
#   cmake -DNM=... -DLIBRARY=... "-DPLATFORM=a.so;b.so" -P exported_symbols.cmake
cmake_minimum_required(VERSION 3.22)

# symbols(RESULT FILE OPTION...): the lines of nm, without addresses.
function(symbols result file)
  execute_process(COMMAND "${NM}" -D ${ARGN} "${file}"
                  OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE "[][;]" "_" output "${output}")  # lists know no brackets
  string(REGEX REPLACE "(^|\n)[0-9a-f ]*[A-Za-z] " "\\1" output "${output}")
  string(REGEX MATCHALL "[^\n]+" lines "${output}")
  set(${result} "${lines}" PARENT_SCOPE)
endfunction()

set(public_classes ErrorMonitor InteractiveErrorMonitor LockIncident LockMonitor LockReport
  ServerDataManager ServerDataManagerObserver
  SvrBootstrapSpecs SvrBootstrapSpecsSerializer SvrDMCloneDataSource SvrDMDataset
  SvrDMDataSetObserver SvrDMInputDataSource SvrDMItem SvrDMObserverView SvrDMWriteableDataSource)
list(JOIN public_classes "|" any_class)

# A member of a public class itself, not of a class within; or what the compiler makes for the class.
set(member "(${any_class})::(~?[A-Za-z]+|operator[^A-Za-z]+)(_abi:cxx11_)?\\(.*")
set(function "DoSwapBytes\\(char\\*, unsigned int\\)")
set(made "(vtable|typeinfo|typeinfo name) for (${any_class})")
# A compiler may leave what it made of the standard library's templates.
set(standard "((vtable|typeinfo|typeinfo name|guard variable) for |[^(]* )?(std|__gnu_cxx)::.*")
symbols(shown "${LIBRARY}" --defined-only --demangle)
foreach(symbol IN LISTS shown)
  if(NOT symbol MATCHES "^(${member}|${function}|${made}|${standard})$")
    message(SEND_ERROR "shown, but not public: ${symbol}")
  endif()
endforeach()

# Those with code of their own are there to be linked.
list(REMOVE_ITEM public_classes ErrorMonitor ServerDataManagerObserver SvrDMDataSetObserver)
foreach(class IN LISTS public_classes)
  if(NOT "${shown}" MATCHES "(^|;)${class}::")
    message(SEND_ERROR "${class} is not shown")
  endif()
endforeach()
if(NOT "${shown}" MATCHES "(^|;)${function}(;|$)")
  message(SEND_ERROR "DoSwapBytes is not shown")
endif()

symbols(ours "${LIBRARY}" --defined-only)
foreach(library IN LISTS PLATFORM)
  symbols(wanted "${library}" --undefined-only)
  foreach(symbol IN LISTS wanted)
    if(symbol IN_LIST ours)
      message(SEND_ERROR "${library} needs ${symbol} of the library above it")
    endif()
  endforeach()
endforeach()
