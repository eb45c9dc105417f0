# Writes build_info.cpp from what git says of the checkout. Runs at every build and leaves the file
# alone when nothing changed, so that nothing is compiled for it. Without git the texts say "unknown".
find_package(Git QUIET)

function(git_says variable)
  set(text "unknown")
  if(GIT_FOUND)
    execute_process(COMMAND ${GIT_EXECUTABLE} ${ARGN} WORKING_DIRECTORY ${SOURCE_DIR}
      OUTPUT_VARIABLE out RESULT_VARIABLE failed ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT failed AND NOT out STREQUAL "")
      set(text "${out}")
    endif()
  endif()
  set(${variable} "${text}" PARENT_SCOPE)
endfunction()

git_says(HGREV rev-parse --short=12 HEAD)
git_says(HGSUMM log -1 --format=%s)
git_says(HGBRANCH rev-parse --abbrev-ref HEAD)
# the date of the revision, not of the compiler run: the same source makes the same program
git_says(BLDDATE log -1 --format=%cd --date=format:%Y-%m-%dT%H:%M:%S)
configure_file(${SOURCE_DIR}/common/log/build_info.cpp.in ${OUTPUT} @ONLY)
