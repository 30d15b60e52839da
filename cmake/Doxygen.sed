#!/usr/bin/sed -f
# Doxygen's input filter: turns the plain comments of the headers into comments of its own.

# A member's comment stands behind it, and goes on in lines that are indented far.
s,^\( *[^ /}].*\)//  *\(.*\)$,\1///< \2,
s,^\( \{20\,\}\)// ,\1///< ,
# Tables and lists are indented in the comment, and keep their form.
/^ *\/\/   /{
    s,//   ,///        ,
    b
}
s,^\( *\)//\( \|$\),\1///\2,
# The rest is text, in which these signs are themselves.
/\/\/\//s,[@%<\\],\\&,g
s,///\\<,///<,
