# Turns the message compiler source into C++ at build time:
#   cmake -DMC_FILE=<file.mc> -DOUT_DIR=<dir> [-DCRLF_COPY=<file>] -P GenerateMessageTable.cmake
# writes <dir>/messages/VantorVssMessages.h (one constexpr DWORD per SymbolicName) and
# <dir>/VantorVssMessageTable.cpp (id, name and text of every message, each text ending in CR LF
# as the message compiler stores it). CRLF_COPY receives the .mc with CR LF line ends, which is
# what makes windmc end each text with CR LF too.
cmake_minimum_required(VERSION 3.25)

foreach(required MC_FILE OUT_DIR)
  if(NOT DEFINED ${required})
    message(FATAL_ERROR "GenerateMessageTable: ${required} is not set")
  endif()
endforeach()

file(READ "${MC_FILE}" source)
string(REPLACE "\r\n" "\n" source "${source}")
if(DEFINED CRLF_COPY)
  string(REPLACE "\n" "\r\n" crlf "${source}")
  file(WRITE "${CRLF_COPY}" "${crlf}")
endif()

# CMake lists split on ';' and treat brackets specially; both occur in message texts and
# comments, so they are masked while the file is split into lines.
string(REPLACE ";" "@SEMICOLON@" source "${source}")
string(REPLACE "[" "@LBRACKET@" source "${source}")
string(REPLACE "]" "@RBRACKET@" source "${source}")
string(REPLACE "\n" ";" lines "${source}")

function(unmask out text)
  string(REPLACE "@SEMICOLON@" ";" text "${text}")
  string(REPLACE "@LBRACKET@" "[" text "${text}")
  string(REPLACE "@RBRACKET@" "]" text "${text}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

function(cpp_escape out text)
  string(REPLACE "\\" "\\\\" text "${text}")
  string(REPLACE "\"" "\\\"" text "${text}")
  string(REPLACE "\t" "\\t" text "${text}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

set(in_text FALSE)
set(next_id 0)
set(id "")
set(symbol "")
set(text "")
set(line_number 0)
set(header_lines "")
set(table_lines "")
set(seen_ids "")
set(seen_symbols "")
foreach(line IN LISTS lines)
  math(EXPR line_number "${line_number} + 1")
  if(in_text)
    if(line STREQUAL ".")
      set(in_text FALSE)
      if(symbol STREQUAL "")
        message(FATAL_ERROR "${MC_FILE}:${line_number}: message ${id} has no SymbolicName")
      endif()
      if(id IN_LIST seen_ids OR symbol IN_LIST seen_symbols)
        message(FATAL_ERROR "${MC_FILE}:${line_number}: message ${id} (${symbol}) is defined twice")
      endif()
      list(APPEND seen_ids ${id})
      list(APPEND seen_symbols ${symbol})
      string(APPEND header_lines "constexpr DWORD ${symbol} = ${id};\n")
      string(APPEND table_lines "    {${id}, \"${symbol}\", L\"${text}\"},\n")
      math(EXPR next_id "${id} + 1")
      set(symbol "")
      set(text "")
    else()
      unmask(plain "${line}")
      cpp_escape(escaped "${plain}")
      string(APPEND text "${escaped}\\r\\n")
    endif()
    continue()
  endif()

  string(STRIP "${line}" stripped)
  if(stripped STREQUAL "" OR stripped MATCHES "^@SEMICOLON@")
    continue()
  elseif(stripped MATCHES "^MessageId[ \t]*=[ \t]*(.*)$")
    set(value "${CMAKE_MATCH_1}")
    if(value STREQUAL "")
      set(id ${next_id})
    elseif(value MATCHES "^0[xX][0-9a-fA-F]+$" OR value MATCHES "^[0-9]+$")
      math(EXPR id "${value}")
    else()
      message(FATAL_ERROR "${MC_FILE}:${line_number}: bad MessageId '${value}'")
    endif()
  elseif(stripped MATCHES "^SymbolicName[ \t]*=[ \t]*([A-Za-z_][A-Za-z0-9_]*)$")
    set(symbol "${CMAKE_MATCH_1}")
  elseif(stripped MATCHES "^(Severity|Facility)[ \t]*=")
    # The event log shows the plain id; severity and facility bits would change it.
    message(FATAL_ERROR "${MC_FILE}:${line_number}: ${CMAKE_MATCH_1} is not used by this table")
  elseif(stripped MATCHES "^Language[ \t]*=")
    set(in_text TRUE)
  endif()
endforeach()
if(in_text)
  message(FATAL_ERROR "${MC_FILE}: the last message text is not ended by a line with a single '.'")
endif()

get_filename_component(mc_name "${MC_FILE}" NAME)
file(WRITE "${OUT_DIR}/messages/VantorVssMessages.h.new"
"#pragma once
// Generated at build time from ${mc_name}; change the .mc file, not this one.
#include \"wincompat/WinTypes.h\"

${header_lines}")
file(WRITE "${OUT_DIR}/VantorVssMessageTable.cpp.new"
"// Generated at build time from ${mc_name}; change the .mc file, not this one.
#include \"messages/EventText.h\"

namespace messages {

std::span<const MessageEntry> MessageTable() {
  static constexpr MessageEntry kTable[] = {
${table_lines}  };
  return kTable;
}

}  // namespace messages
")
# Unchanged outputs keep their time stamps, so that editing a comment rebuilds nothing.
foreach(out messages/VantorVssMessages.h VantorVssMessageTable.cpp)
  file(COPY_FILE "${OUT_DIR}/${out}.new" "${OUT_DIR}/${out}" ONLY_IF_DIFFERENT)
  file(REMOVE "${OUT_DIR}/${out}.new")
endforeach()
