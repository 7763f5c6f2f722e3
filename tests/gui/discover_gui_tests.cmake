# Makes each window test a CTest test of its own: lists the tests of the
# program BINARY and writes to OUT an add_test for each, run by RUNNER (which
# starts it from a fresh copy beside DOCS) on the display of the fixture
# "display".
execute_process(COMMAND ${BINARY} --gtest_list_tests
                OUTPUT_VARIABLE listing RESULT_VARIABLE status TIMEOUT 60)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${BINARY} --gtest_list_tests failed (${status}):\n${listing}")
endif()
string(REPLACE "\n" ";" lines "${listing}")
set(script "")
set(suite "")
set(count 0)
foreach(line IN LISTS lines)
  # "Suite." then "  Test", either perhaps followed by "  # comment".
  string(REGEX REPLACE " *#.*$" "" line "${line}")
  if(line MATCHES "^([A-Za-z0-9_/]+\\.)$")
    set(suite "${CMAKE_MATCH_1}")
  elseif(line MATCHES "^  ([A-Za-z0-9_/]+)$")
    set(name "${suite}${CMAKE_MATCH_1}")
    string(APPEND script "add_test([=[gui.${name}]=] ${RUNNER} ${BINARY} ${DOCS} [=[--gtest_filter=${name}]=])\n"
      "set_tests_properties([=[gui.${name}]=] PROPERTIES LABELS gui FIXTURES_REQUIRED display "
      "RESOURCE_LOCK \"processors;display\" TIMEOUT 300 ENVIRONMENT TARNWICK_DISPLAY_STATE=${STATE})\n")
    math(EXPR count "${count} + 1")
  endif()
endforeach()
if(count EQUAL 0)
  message(FATAL_ERROR "${BINARY} lists no tests")
endif()
file(WRITE ${OUT} "${script}")
