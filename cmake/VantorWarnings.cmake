# Warnings for our own targets only; third-party code (gtest, gSOAP runtime, generated
# sources) is compiled without them.
add_library(vantor_warnings INTERFACE)
target_compile_options(vantor_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wcast-align -Wformat=2
  -Wimplicit-fallthrough)
if(VANTOR_WERROR)
  target_compile_options(vantor_warnings INTERFACE -Werror)
endif()
if(WIN32)
  target_compile_definitions(vantor_warnings INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX
    _WIN32_WINNT=0x0A00)
endif()

# vantor_target(NAME) applies our warnings to a target.
function(vantor_target name)
  target_link_libraries(${name} PRIVATE vantor_warnings)
endfunction()
