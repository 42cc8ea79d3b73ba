# marrowfin_program(TARGET NAME [COMPLETION WORDS...]): installs a program that is called NAME with its
# manual; and with what completes its command lines, where the shells look for it. The program prints
# that itself when it is called with WORDS and the name of a shell; one for another machine cannot be
# asked.
function(marrowfin_program target name)
  cmake_parse_arguments(ARG "" "" "COMPLETION" ${ARGN})
  install(TARGETS ${target} COMPONENT programs)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/man/${name}.1
          DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT programs)
  if(NOT ARG_COMPLETION OR CMAKE_CROSSCOMPILING)
    return()
  endif()
  foreach(shell bash zsh)
    add_custom_command(OUTPUT completion.${shell}
      COMMAND ${target} ${ARG_COMPLETION} ${shell} > completion.${shell}
      DEPENDS ${target} VERBATIM)
  endforeach()
  add_custom_target(${target}_completions ALL DEPENDS completion.bash completion.zsh)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/completion.bash RENAME ${name}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT programs)
  # Debian's zsh looks for what packages bring elsewhere than for what stands below other prefixes. Which
  # of both it is, is known when it is installed.
  install(CODE "
    if(CMAKE_INSTALL_PREFIX MATCHES \"^/usr$|/_CPack_Packages/.*/usr$\")
      set(place vendor-completions)
    else()
      set(place site-functions)
    endif()
    set(data \"${CMAKE_INSTALL_DATADIR}\")
    if(NOT IS_ABSOLUTE \"\${data}\")
      set(data \"\${CMAKE_INSTALL_PREFIX}/\${data}\")
    endif()
    file(INSTALL \"${CMAKE_CURRENT_BINARY_DIR}/completion.zsh\" RENAME _${name}
         DESTINATION \"\${data}/zsh/\${place}\")"
          COMPONENT programs)
endfunction()
