# Manual pages and shell completions, written by the tools themselves from their help.
set(man_dir "${PROJECT_BINARY_DIR}/man")
set(completions_dir "${PROJECT_BINARY_DIR}/completions")
file(MAKE_DIRECTORY "${man_dir}" "${completions_dir}")

add_custom_command(OUTPUT "${man_dir}/kova.1" "${man_dir}/kova-simulate.1"
  COMMAND kova --man-pages "${man_dir}"
  COMMAND kova-simulate --man-pages "${man_dir}"
  DEPENDS kova kova-simulate VERBATIM)
add_custom_target(man-pages ALL DEPENDS "${man_dir}/kova.1" "${man_dir}/kova-simulate.1")

set(completion_scripts)
foreach(shell bash zsh fish)
  set(script "${completions_dir}/kova.${shell}")
  add_custom_command(OUTPUT "${script}" COMMAND kova completions ${shell} > "${script}" DEPENDS kova VERBATIM)
  list(APPEND completion_scripts "${script}")
endforeach()
add_custom_target(completions ALL DEPENDS ${completion_scripts})
