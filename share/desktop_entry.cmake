# Writes the menu entry from its template with the window program's installed path, quoted as a
# desktop entry's Exec argument: '"', '`', '$' and '\' after a backslash, '%' doubled, and then
# every '\' doubled, as the entry's string values are read.
set(program "${CMAKE_INSTALL_PREFIX}/${kestrav_binary_folder}/kestrav")
string(REGEX REPLACE "([\"`$\\\\])" "\\\\\\1" argument "${program}")
string(REPLACE "%" "%%" argument "${argument}")
string(REPLACE "\\" "\\\\" argument "${argument}")
set(KESTRAV_WINDOW_EXEC "\"${argument}\"")
configure_file("${kestrav_entry_template}" "${kestrav_entry}" @ONLY)
