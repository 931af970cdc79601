# Live peers for the tests: servers that tests/peers/<kind>.sh starts on 127.0.0.1.
#
#   quillon_use_peers(<test program target> <peer>...)
#       every test of the program requires the ctest fixtures peer_<peer>, and finds the peers'
#       peer.env files under $QUILLON_PEERS/<peer>/ (tests/support/Peers.h reads them).
#   quillon_add_peer_variant(<name> <kind> <launcher option>...)
#       another instance of a kind with its own options, used by name like a kind:
#       quillon_add_peer_variant(sslserver_tls12 sslserver -www -tls1_2)
#
# Each peer is one fixture: a setup test peer_<name>_start and a cleanup test peer_<name>_stop,
# its state in ${CMAKE_BINARY_DIR}/peers/<name>. A peer that cannot start fails its setup test,
# with the peer's own log, and ctest then does not run the tests that require it.

set(QUILLON_PEERS_DIR "${CMAKE_BINARY_DIR}/peers")
set(QUILLON_PEERS_HOME "${CMAKE_CURRENT_LIST_DIR}")
set(QUILLON_PEER_KINDS certs nginx apache sslserver odata signon)
# Proxies and SOCKS servers between the component and the web peers.
list(APPEND QUILLON_PEER_KINDS squid dante microsocks tinyproxy)

# Kinds whose launchers read the certificates of the certs peer.
set(QUILLON_PEERS_NEEDING_CERTS nginx sslserver)

function(quillon_add_peer_variant name kind)
  get_property(known GLOBAL PROPERTY QUILLON_PEER_${name}_KIND SET)
  if(known)
    return()
  endif()
  if(NOT kind IN_LIST QUILLON_PEER_KINDS)
    message(FATAL_ERROR "Unknown peer kind '${kind}' (known: ${QUILLON_PEER_KINDS})")
  endif()
  set_property(GLOBAL PROPERTY QUILLON_PEER_${name}_KIND ${kind})
  set(launcher "${QUILLON_PEERS_HOME}/${kind}.sh")
  set(state "${QUILLON_PEERS_DIR}/${name}")
  add_test(NAME peer_${name}_start COMMAND ${launcher} start ${state} ${ARGN})
  add_test(NAME peer_${name}_stop COMMAND ${launcher} stop ${state})
  set_tests_properties(peer_${name}_start PROPERTIES
    FIXTURES_SETUP peer_${name}
    TIMEOUT 120
    ENVIRONMENT "QUILLON_PEERS=${QUILLON_PEERS_DIR};QUILLON_CORPUS_DIR=${QUILLON_CORPUS_DIR}")
  set_tests_properties(peer_${name}_stop PROPERTIES FIXTURES_CLEANUP peer_${name} TIMEOUT 30)
  if(kind IN_LIST QUILLON_PEERS_NEEDING_CERTS)
    quillon_add_peer_variant(certs certs)
    set_tests_properties(peer_${name}_start peer_${name}_stop PROPERTIES
      FIXTURES_REQUIRED peer_certs)
  endif()
endfunction()

# The fixtures a list of peers needs, certs included where a launcher reads them.
function(quillon_peer_fixtures out)
  set(fixtures "")
  foreach(name ${ARGN})
    get_property(kind GLOBAL PROPERTY QUILLON_PEER_${name}_KIND)
    if(NOT kind)
      quillon_add_peer_variant(${name} ${name})
      set(kind ${name})
    endif()
    list(APPEND fixtures peer_${name})
    if(kind IN_LIST QUILLON_PEERS_NEEDING_CERTS)
      list(APPEND fixtures peer_certs)
    endif()
  endforeach()
  list(REMOVE_DUPLICATES fixtures)
  set(${out} "${fixtures}" PARENT_SCOPE)
endfunction()

function(quillon_use_peers target)
  set_property(GLOBAL APPEND PROPERTY QUILLON_PEERS_OF_${target} ${ARGN})
  get_property(names GLOBAL PROPERTY QUILLON_PEERS_OF_${target})
  quillon_peer_fixtures(fixtures ${names})
  # Runs in ctest after the program's discovered tests are listed in <target>_TESTS; deferred so
  # that it follows gtest_discover_tests wherever in this folder quillon_use_peers is called.
  set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}_peers.cmake")
  file(WRITE "${script}"
    "if(${target}_TESTS)\n"
    "  set_tests_properties(\${${target}_TESTS} PROPERTIES\n"
    "    FIXTURES_REQUIRED \"${fixtures}\"\n"
    "    ENVIRONMENT_MODIFICATION \"QUILLON_PEERS=set:${QUILLON_PEERS_DIR}\")\n"
    "endif()\n")
  get_property(added GLOBAL PROPERTY QUILLON_PEERS_SCRIPT_${target} SET)
  if(NOT added)
    set_property(GLOBAL PROPERTY QUILLON_PEERS_SCRIPT_${target} 1)
    # A deferred call reads variables when it runs, so the path goes in as text now.
    cmake_language(EVAL CODE
      "cmake_language(DEFER CALL set_property DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES [[${script}]])")
  endif()
endfunction()

# Tests of the peers themselves with Debian's curl and openssl, so that a broken peer is told
# apart from a broken component.
function(quillon_add_peer_checks)
  foreach(name ${ARGN})
    quillon_peer_fixtures(fixtures ${name})
    add_test(NAME peer_${name}_check
      COMMAND ${QUILLON_PEERS_HOME}/check.sh ${name} ${QUILLON_PEERS_DIR})
    set_tests_properties(peer_${name}_check PROPERTIES FIXTURES_REQUIRED "${fixtures}" TIMEOUT 60)
  endforeach()
endfunction()
