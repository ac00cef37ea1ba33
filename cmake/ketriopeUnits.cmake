# Which subsystem a unit belongs to: tests/units.txt has a label and its stems in each row.
set(KETRIOPE_UNITS_FILE ${CMAKE_CURRENT_LIST_DIR}/../tests/units.txt)

# ketriope_units(<labels> <stems>): the stems in their order, and the label of each at the same place.
function(ketriope_units labels_name stems_name)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${KETRIOPE_UNITS_FILE})
  file(STRINGS ${KETRIOPE_UNITS_FILE} rows REGEX "^[a-zA-Z]")
  foreach(row IN LISTS rows)
    string(REGEX MATCHALL "[^ ]+" words "${row}")
    list(POP_FRONT words label)
    foreach(stem IN LISTS words)
      list(APPEND labels ${label})
      list(APPEND stems ${stem})
    endforeach()
  endforeach()
  set(${labels_name} ${labels} PARENT_SCOPE)
  set(${stems_name} ${stems} PARENT_SCOPE)
endfunction()
