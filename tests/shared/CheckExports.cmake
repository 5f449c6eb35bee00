# Runs the shared-library host, then checks that the library's dynamic symbol
# table holds the public classes and no C++ symbol outside them.
execute_process(COMMAND ${HOST} RESULT_VARIABLE host_result OUTPUT_VARIABLE host_out)
if(NOT host_result EQUAL 0)
  message(FATAL_ERROR "host against the shared library failed: ${host_result} ${host_out}")
endif()
execute_process(COMMAND nm -D --defined-only -C ${LIB} OUTPUT_VARIABLE symbols RESULT_VARIABLE nm_result)
if(NOT nm_result EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIB}")
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
