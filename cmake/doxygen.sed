# Makes the headers' plain comments those that Doxygen reads, and their text mere text.
/^ *\/\/   /{ # an example
s/\/\//\/\/\/     /
b
}
/^ *\/\//{
s/[][\\<>&#@%*_`|~]/\\&/g
s/"/\&quot;/g
s/\/\//\/\/\//
b
}
/[;,{})]  *\/\/ /{ # beside what it describes
h
s/.*[;,{})]  *\/\/ //
s/[][\\<>&#@%*_`|~]/\\&/g
s/"/\&quot;/g
x
s/\(.*[;,{})]  *\)\/\/ .*/\1\/\/\/< /
G
s/\n//
}
