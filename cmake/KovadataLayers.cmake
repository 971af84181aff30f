# kovadata_layer(<name> SOURCES ... [LIBS ...]) makes one folder of src/ an object library. The shared library and the
# static library that tests and benchmarks link are made of all of them.
function(kovadata_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBS")
  set(target kovadata_${name})
  add_library(${target} OBJECT ${arg_SOURCES})
  target_include_directories(${target} PUBLIC "${PROJECT_SOURCE_DIR}/src" PRIVATE "${PROJECT_SOURCE_DIR}/include")
  target_link_libraries(${target} PUBLIC ${arg_LIBS} PRIVATE kovadata_options)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  set_property(GLOBAL APPEND PROPERTY KOVADATA_LAYERS ${target})
  set_property(GLOBAL APPEND PROPERTY KOVADATA_LAYER_LIBS ${arg_LIBS})
endfunction()
