# The wire half of the engine: the SMTP dialogue, portable and without sockets, and what carries it.
vespro_room(engine_smtp
  SOURCES policy.cc scheduler.cc smtp_client.cc smtp_reply.cc
  TESTS policy_test.cc scheduler_test.cc smtp_client_test.cc smtp_reply_test.cc
  USES base mime)

if(NOT WIN32)
  find_package(OpenSSL 3.0 REQUIRED)
  vespro_room(engine_wire
    SOURCES delivery.cc net_asio.cc
    TESTS delivery_test.cc
    USES engine_smtp
    LIBRARIES vespro_asio OpenSSL::SSL OpenSSL::Crypto)
  add_executable(engine_wire_bench ${PROJECT_SOURCE_DIR}/bench/engine_wire.cc)
  target_link_libraries(engine_wire_bench PRIVATE vespro_engine_wire)
endif()
