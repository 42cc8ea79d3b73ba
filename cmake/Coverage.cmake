# Line counts are written when a process exits. Many tests are about programs that abort, and the
# real window is closed by a signal: an object that is linked into every program of the build writes
# the counts then as well.
add_library(marrowfin_keep_counts OBJECT tests/coverage/KeepCounts.cpp)

function(marrowfin_link_keep_counts directory)
  get_property(targets DIRECTORY ${directory} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "EXECUTABLE")
      target_link_libraries(${target} PRIVATE marrowfin_keep_counts)
    endif()
  endforeach()
  get_property(subdirectories DIRECTORY ${directory} PROPERTY SUBDIRECTORIES)
  foreach(subdirectory IN LISTS subdirectories)
    marrowfin_link_keep_counts(${subdirectory})
  endforeach()
endfunction()

marrowfin_link_keep_counts(${PROJECT_SOURCE_DIR})
