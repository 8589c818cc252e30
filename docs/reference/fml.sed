# Gives each line of the table in fml.h what doxygen wants to see described: the arguments and the result of its call.
/\/\*\*< [^ ]*\(\)/ {
  /@param/ b
  h
  # The names of the arguments, which are the last words of their declarations.
  s/^[^(]*\(([^)]*)\);.*/\1/
  s/[^,]*[ *]([a-z]+)/\1/g
  G
  s/^([^\n]*)\n(.*\/\*\*< )([^ ;]*)(.*) \*\/$/\2\3\4 @param \1 as in \3, in its order @return as \3 *\//
}
