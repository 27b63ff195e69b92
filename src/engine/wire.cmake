# The wire half of the engine: the SMTP dialogue, portable and without sockets, and what carries it.
include(${PROJECT_SOURCE_DIR}/cmake/openssl.cmake)
if(WIN32)
  set(system net/system_win32.cc)
else()
  set(system net/system_posix.cc)
  set(system_tests delivery/delivery_socket_test.cc)  # its server wakes its threads as only POSIX does
endif()
# What OpenSSL does for us beside TLS itself.
vespro_module(engine_crypto
  SOURCES
    hmac.cc
    ${system}
  USES base
  LIBRARIES vespro_openssl)

vespro_module(engine_smtp
  SOURCES
    smtp/client.cc
    smtp/complaint.cc
    smtp/confirmation.cc
    smtp/extensions.cc
    smtp/output_queue.cc
    smtp/pending_replies.cc
    smtp/policy.cc
    smtp/reply.cc
    smtp/sasl.cc
    smtp/secret_scanner.cc
    smtp/session_setup.cc
    smtp/session_trace.cc
    smtp/transaction.cc
    smtp/transaction_window.cc
  TESTS smtp/client_test.cc smtp/client_trace_test.cc smtp/complaint_test.cc smtp/confirmation_test.cc smtp/extensions_test.cc smtp/output_queue_test.cc smtp/policy_test.cc smtp/reply_test.cc smtp/sasl_test.cc
        smtp/secret_scanner_test.cc smtp/surplus_reply_test.cc
  USES base mime engine_crypto)

vespro_module(engine_net
  SOURCES
    net/asio_loop.cc
  USES engine_smtp
  LIBRARIES vespro_asio vespro_openssl)

vespro_module(engine_delivery
  SOURCES
    delivery/account_check.cc
    delivery/backoff.cc
    delivery/concurrency.cc
    delivery/credential_source.cc
    delivery/delivery.cc
    delivery/delivery_trace.cc
    delivery/dispatcher.cc
    delivery/evidence.cc
    delivery/fair_share.cc
    delivery/outcome_recorder.cc
    delivery/pace.cc
    delivery/rate_limit.cc
    delivery/recipient_queue.cc
    delivery/retry_policy.cc
    delivery/server.cc
    delivery/server_pool.cc
    delivery/server_quirks.cc
    delivery/session.cc
  TESTS delivery/account_check_test.cc delivery/allowance_test.cc delivery/backoff_test.cc delivery/concurrency_test.cc delivery/credential_source_test.cc delivery/delivery_limits_test.cc delivery/delivery_surplus_test.cc delivery/delivery_test.cc delivery/dispatcher_test.cc delivery/evidence_test.cc delivery/fair_share_test.cc
        delivery/outcome_recorder_test.cc delivery/pace_test.cc delivery/rate_limit_test.cc
        delivery/recipient_queue_test.cc delivery/retry_policy_test.cc
        delivery/server_pool_test.cc delivery/server_test.cc delivery/session_test.cc ${system_tests}
  USES engine_net)
if(NOT WIN32)
  add_executable(engine_wire_bench ${PROJECT_SOURCE_DIR}/bench/engine_wire.cc)
  target_link_libraries(engine_wire_bench PRIVATE vespro_engine_delivery)
endif()
