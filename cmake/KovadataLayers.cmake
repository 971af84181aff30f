macro(kovadata_layer_target target)
  add_library(${target} OBJECT ${arg_SOURCES})
  target_include_directories(${target} PUBLIC "${PROJECT_SOURCE_DIR}/src" PRIVATE "${PROJECT_SOURCE_DIR}/include")
  target_link_libraries(${target} PUBLIC ${arg_LIBS} PRIVATE kovadata_options)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  kovadata_compile_together(${target})
endmacro()

# kovadata_layer(<name> SOURCES ... [LIBS ...]) makes one folder of src/ an object library. The shared library and the
# static library that tests and benchmarks link are made of all of them. For benchmarks each is built a second time without
# any log messages.
function(kovadata_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBS")
  set(target kovadata_${name})
  kovadata_layer_target(${target})
  set_property(GLOBAL APPEND PROPERTY KOVADATA_LAYERS ${target})
  if(KOVADATA_BUILD_BENCH)
    kovadata_layer_target(${target}_unlogged)
    target_compile_definitions(${target}_unlogged PRIVATE KOVADATA_NO_LOGGING)
    set_property(GLOBAL APPEND PROPERTY KOVADATA_LAYERS_UNLOGGED ${target}_unlogged)
  endif()
  set_property(GLOBAL APPEND PROPERTY KOVADATA_LAYER_LIBS ${arg_LIBS})
endfunction()
