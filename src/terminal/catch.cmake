# The loopback mail catcher, apart from the rest of the folder: it alone needs sockets.
vespro_module(catch
  SOURCES catch_session.cc catcher.cc
  TESTS catch_session_test.cc catcher_test.cc
  USES base
  LIBRARIES vespro_asio)
# Elsewhere a port that was in use a moment ago is barred for a while; on Windows this option would
# let two programs share a port.
target_compile_definitions(vespro_catch PRIVATE
  VESPRO_REUSE_ADDRESS=$<IF:$<BOOL:${WIN32}>,false,true>)
