# Line counts are written when a process exits. Many tests are about programs that abort or end by a
# signal, and the real window is closed by one: objects that are linked into the programs of the build
# write the counts then as well.
add_library(marrowfin_keep_counts OBJECT tests/coverage/KeepCounts.cpp)
add_library(marrowfin_keep_counts_of_windows OBJECT tests/coverage/KeepCountsOfWindows.cpp)
target_include_directories(marrowfin_keep_counts PRIVATE ${PROJECT_SOURCE_DIR})
target_include_directories(marrowfin_keep_counts_of_windows PRIVATE ${PROJECT_SOURCE_DIR})

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
if(TARGET marrowfin)
  target_link_libraries(marrowfin PRIVATE marrowfin_keep_counts_of_windows)
endif()
