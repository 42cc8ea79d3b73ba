# Adds to the trees of the packages, before they are packed, what Debian asks of each: the licence, a
# changelog, packed manuals. What is packed here has no time and no name in it, so that two packages of
# one state of the project are the same bytes.
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  set(tree ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})
  set(words ${tree}/share/doc/${package})
  file(READ ${CPACK_RESOURCE_FILE_LICENSE} licence)
  file(WRITE ${words}/copyright "${licence}")
  set(time $ENV{SOURCE_DATE_EPOCH})
  if(NOT time)
    set(time 0)
  endif()
  execute_process(COMMAND env LC_ALL=C date --utc --rfc-email --date=@${time}
                  OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  file(WRITE ${words}/changelog
       "${package} (${CPACK_PACKAGE_VERSION}) unstable; urgency=low\n\n"
       "  * See CHANGELOG.md of the project.\n\n"
       " -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${date}\n")
  file(GLOB_RECURSE texts ${tree}/share/man/*.1 ${words}/changelog)
  foreach(text IN LISTS texts)
    execute_process(COMMAND gzip -9 --no-name --force ${text} COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endforeach()
