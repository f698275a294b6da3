# cmake -DPROGRAM=COMMAND -DMAN_PAGE=FILE -DVERSION=... -P ManPage.cmake: makes the man page h265ps.1 of the text
# that PROGRAM --help prints. A line at the margin that ends with a colon begins a section; the rest stays
# as it was laid out.
cmake_minimum_required(VERSION 3.25)
execute_process(COMMAND ${PROGRAM} --help OUTPUT_VARIABLE TEXT COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\\" "\\e" TEXT "${TEXT}")
string(REPLACE "-" "\\-" TEXT "${TEXT}")
string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" TEXT "${TEXT}") # no request, whatever a line begins with
string(REGEX MATCH "^[^\n]*" SUMMARY "${TEXT}")
string(REGEX MATCH "\nUsage: ([^\n]*)" USAGE "${TEXT}")
set(USAGE "${CMAKE_MATCH_1}")
string(FIND "${TEXT}" "${USAGE}" BODY_AT)
string(LENGTH "${USAGE}" USAGE_LENGTH)
math(EXPR BODY_AT "${BODY_AT} + ${USAGE_LENGTH}")
string(SUBSTRING "${TEXT}" ${BODY_AT} -1 BODY)
string(REGEX REPLACE "\n([A-Z][^\n]*):\n" "\n.fi\n.SH \\1\n.nf\n" BODY "${BODY}")
string(REGEX REPLACE "\n\n+" "\n\n" BODY "${BODY}")
string(REGEX REPLACE "\n\n\\.fi" "\n.fi" BODY "${BODY}")
if(NOT USAGE)
    message(FATAL_ERROR "--help of ${PROGRAM} has no line Usage:")
endif()
file(WRITE ${MAN_PAGE} ".TH H265PS 1 \"\" \"h265ps ${VERSION}\"
.SH NAME
h265ps \\- ${SUMMARY}
.SH SYNOPSIS
${USAGE}
.nf${BODY}.fi
")
