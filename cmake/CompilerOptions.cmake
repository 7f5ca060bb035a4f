# One interface target carries the warnings, Qt's strict defines and the
# sanitizer switches; every target of the project links it.
add_library(vf_options INTERFACE)
target_compile_options(vf_options INTERFACE -Wall -Wextra -Wpedantic -Wno-missing-field-initializers)
target_compile_definitions(vf_options INTERFACE
  QT_NO_CAST_FROM_ASCII
  QT_NO_CAST_TO_ASCII
  QT_NO_CONTEXTLESS_CONNECT
  QT_USE_QSTRINGBUILDER
  QT_NO_KEYWORDS
  QT_NO_FOREACH)
if(VF_SANITIZE AND VF_TSAN)
  message(FATAL_ERROR "VF_SANITIZE and VF_TSAN cannot be combined")
endif()
if(VF_TSAN)
  target_compile_options(vf_options INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(vf_options INTERFACE -fsanitize=thread)
endif()
if(VF_SANITIZE)
  target_compile_options(vf_options INTERFACE -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_link_options(vf_options INTERFACE -fsanitize=address,undefined)
endif()
