# Runs the shared-library host (under EMULATOR, "|"-separated, when given),
# then checks that the library's exported symbols are the public classes and
# nothing else: the ELF dynamic symbol table through nm, or the DLL's export
# table through the mingw objdump.
string(REPLACE "|" ";" emulator "${EMULATOR}")
execute_process(COMMAND ${emulator} ${HOST} RESULT_VARIABLE host_result OUTPUT_VARIABLE host_out)
if(NOT host_result EQUAL 0)
  message(FATAL_ERROR "host against the shared library failed: ${host_result} ${host_out}")
endif()
if(LIB MATCHES "\\.dll$")
  execute_process(COMMAND x86_64-w64-mingw32-objdump -p ${LIB} OUTPUT_VARIABLE table RESULT_VARIABLE nm_result)
  # The name table: "[Ordinal/Name Pointer] Table", then "[ n] name" rows up
  # to the next empty line.
  string(FIND "${table}" "[Ordinal/Name Pointer] Table" start)
  if(start EQUAL -1)
    message(FATAL_ERROR "no export table in ${LIB}")
  endif()
  string(SUBSTRING "${table}" ${start} -1 table)
  string(FIND "${table}" "\n\n" end)
  string(SUBSTRING "${table}" 0 ${end} table)
  string(REGEX MATCHALL "\\[ *[0-9]+\\] [^\n]+" rows "${table}")
  set(mangled "")
  foreach(row IN LISTS rows)
    string(REGEX REPLACE "^\\[ *[0-9]+\\] " "" name "${row}")
    string(APPEND mangled "${name}\n")
  endforeach()
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/exports-mangled.txt "${mangled}")
  execute_process(COMMAND x86_64-w64-mingw32-c++filt INPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/exports-mangled.txt
                  OUTPUT_VARIABLE symbols)
  message(STATUS "DLL exports:\n${symbols}")
  string(REGEX REPLACE "([^\n]+)" "0 T \\1" symbols "${symbols}")
else()
  execute_process(COMMAND nm -D --defined-only -C ${LIB} OUTPUT_VARIABLE symbols RESULT_VARIABLE nm_result)
endif()
if(NOT nm_result EQUAL 0)
  message(FATAL_ERROR "cannot list the symbols of ${LIB}")
endif()
string(REPLACE "\n" ";" lines "${symbols}")
set(stray "")
foreach(line IN LISTS lines)
  if(line MATCHES "^[0-9a-f]+ [A-Za-z] (.*)$")
    set(name "${CMAKE_MATCH_1}")
    if(NOT name MATCHES "^(_init|_fini|_edata|_end|__bss_start)$"
       AND NOT name MATCHES "audiofx::(I)?AudioEffects"
       AND NOT name MATCHES "LXAudioEffectsProcessor"
       AND NOT name MATCHES "ReplayGainProcessor"
       AND NOT name MATCHES "g_pOVPluginList")
      list(APPEND stray "${name}")
    endif()
  endif()
endforeach()
if(stray)
  message(FATAL_ERROR "symbols exported beyond the public API: ${stray}")
endif()
# And every public class is there.
foreach(required IN ITEMS "audiofx::AudioEffects::Create" "LXAudioEffectsProcessor::Create"
                          "ReplayGainProcessor::Init" "ReplayGainProcessor::PushSamples"
                          "ReplayGainProcessor::GetReplayGain" "ReplayGainProcessor::ResetReplayGain"
                          "ReplayGainProcessor::operator=")
  string(FIND "${symbols}" "${required}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "public symbol missing from the library: ${required}")
  endif()
endforeach()
message(STATUS "exports ok")
