# The wire half of the engine: the SMTP dialogue, portable and without sockets, and what carries it.
include(${PROJECT_SOURCE_DIR}/cmake/openssl.cmake)
if(WIN32)
  set(system net_win32.cc)
else()
  set(system net_posix.cc)
  set(system_tests delivery_test.cc)  # its server wakes its threads as only POSIX does
endif()
# What OpenSSL does for us beside TLS itself.
vespro_room(engine_crypto
  SOURCES hmac.cc ${system}
  USES base
  LIBRARIES vespro_openssl)

vespro_room(engine_smtp
  SOURCES policy.cc sasl.cc scheduler.cc secret_traces.cc smtp_client.cc smtp_reply.cc
  TESTS policy_test.cc sasl_test.cc scheduler_test.cc secret_traces_test.cc smtp_client_test.cc
        smtp_reply_test.cc
  USES base mime engine_crypto)

vespro_room(engine_wire
  SOURCES delivery.cc net_asio.cc
  TESTS ${system_tests}
  USES engine_smtp
  LIBRARIES vespro_asio vespro_openssl)
if(NOT WIN32)
  add_executable(engine_wire_bench ${PROJECT_SOURCE_DIR}/bench/engine_wire.cc)
  target_link_libraries(engine_wire_bench PRIVATE vespro_engine_wire)
endif()
