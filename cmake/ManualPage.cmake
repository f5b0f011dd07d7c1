# A manual page whose description is the help text of a program, so that the two say the same:
#   cmake -DPROGRAM=... -DNAME=... -DSUMMARY=... -DVERSION=... -DPAGE=... -P ManualPage.cmake
execute_process(COMMAND ${PROGRAM} --help OUTPUT_VARIABLE help COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\\" "\\e" help "${help}")
string(REPLACE "-" "\\-" help "${help}")
# A dot or an apostrophe at the beginning of a line would be a request.
string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" help "${help}")
string(TOUPPER ${NAME} title)
file(WRITE ${PAGE} ".TH ${title} 1 \"\" \"${NAME} ${VERSION}\" \"User Commands\"
.SH NAME
${NAME} \\- ${SUMMARY}
.SH DESCRIPTION
.nf
${help}.fi
")
