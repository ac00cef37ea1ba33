# The example that README shows is the one that is built and run.
file(READ ${README} readme)
file(READ ${EXAMPLE} example)
string(FIND "${readme}" "```cpp\n${example}```" position)
if(position EQUAL -1)
  message(FATAL_ERROR "README.md does not show ${EXAMPLE} as it is")
endif()
