# Adds every direct subdirectory of the current source directory that has a CMakeLists.txt,
# so that each area of tests or benchmarks is wired in by its own list file.
function(pelmo_add_child_dirs)
  file(GLOB children LIST_DIRECTORIES true ${CMAKE_CURRENT_SOURCE_DIR}/*)
  list(SORT children)
  foreach(child ${children})
    if(IS_DIRECTORY ${child} AND EXISTS ${child}/CMakeLists.txt)
      add_subdirectory(${child})
    endif()
  endforeach()
endfunction()
