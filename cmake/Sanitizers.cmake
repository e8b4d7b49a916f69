# One switch selects the sanitizer build; every target (library, tests, tools) gets the same flags
# so that the runtime is loaded once and sees every allocation.
if(TLM_SANITIZE STREQUAL "address")
  set(_tlm_san -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
elseif(TLM_SANITIZE STREQUAL "thread")
  set(_tlm_san -fsanitize=thread -fno-omit-frame-pointer)
elseif(NOT TLM_SANITIZE STREQUAL "")
  message(FATAL_ERROR "TLM_SANITIZE must be empty, 'address' or 'thread'")
endif()
if(_tlm_san)
  add_compile_options(${_tlm_san})
  add_link_options(${_tlm_san})
endif()
