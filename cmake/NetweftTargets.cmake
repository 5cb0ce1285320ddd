# How Netweft's targets are made: one object library per subsystem, one test program per subsystem, and one shared
# library out of all of them.

# The layers: each subsystem sees those named here and no other.
set(NETWEFT_LAYER_base "")
set(NETWEFT_LAYER_frame base)
set(NETWEFT_LAYER_addressing base frame)
set(NETWEFT_LAYER_http base frame addressing)
set(NETWEFT_LAYER_couch base frame addressing http)
set(NETWEFT_LAYER_elasticsearch base frame addressing http)
set(NETWEFT_LAYER_jwt base frame addressing http)
set(NETWEFT_LAYER_river base frame addressing http couch elasticsearch)
set(NETWEFT_LAYER_icmp base frame addressing)

# Warnings and sanitizers for a target of ours; never for those who link us.
function(netweft_own_code target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
    -Woverloaded-virtual -Wcast-align -Wformat=2 -Wundef
    $<$<BOOL:${NETWEFT_WARNINGS_AS_ERRORS}>:-Werror>)
  if(NETWEFT_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${NETWEFT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${NETWEFT_SANITIZE})
  endif()
endfunction()

# netweft_subsystem(<name> SOURCES <file>... [LINK <target>...]): the object library netweft_<name>.
function(netweft_subsystem name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
  set_property(GLOBAL APPEND PROPERTY NETWEFT_SUBSYSTEMS ${name})
  add_library(netweft_${name} OBJECT ${ARG_SOURCES})
  target_include_directories(netweft_${name} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
  target_compile_definitions(netweft_${name} PRIVATE NETWEFT_BUILDING)
  set_target_properties(netweft_${name} PROPERTIES
    POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(netweft_${name} PUBLIC ${ARG_LINK} Threads::Threads)
  netweft_own_code(netweft_${name})
  # Which lock guards what, as the sources have it from ThreadAnnotations.h. Clang alone looks.
  target_compile_options(netweft_${name} PRIVATE "$<$<CXX_COMPILER_ID:Clang>:-Wthread-safety;-Wthread-safety-beta>")
endfunction()

# netweft_link_subsystems(<target> <name>): links a subsystem and all below it into a program, as objects, so that a test
# reaches what hosts must not see.
function(netweft_link_subsystems target name)
  foreach(layer IN LISTS NETWEFT_LAYER_${name} ITEMS ${name})
    if(TARGET netweft_${layer})
      target_link_libraries(${target} PRIVATE netweft_${layer})
    endif()
  endforeach()
endfunction()
