# In the headers a comment speaks for all declarations below it, down to a blank line, another comment, a
# destructor or the end of the class. Here each such run becomes a group, whose comment Doxygen gives to every
# member. Lines keep their numbers.
function depth_of(text, opened, closed) {
  opened = gsub(/\{/, "{", text)
  closed = gsub(/\}/, "}", text)
  return opened - closed
}
function close_group() { prefix[NR] = prefix[NR] "/**@}*/" }
{
  comment = $0 ~ /^ *\/\/\//
  if (comment && state != "comment") {
    if (state == "members") close_group()
    state = "comment"
    first = NR
  } else if (state == "comment" && !comment) {
    # A class has a comment of its own, and members with theirs.
    if ($0 ~ /^ *(class|struct|enum|union|namespace|template|#|$)/) {
      state = ""
    } else {
      state = "members"
      prefix[first] = prefix[first] "/**@{*/"
      depth = 0
    }
  }
  if (state == "members" && !comment) {
    if (depth == 0 && $0 ~ /^ *($|\}|public:|protected:|private:|#|class |struct |enum |virtual ~|~|.*= delete;)/) {
      close_group()
      state = ""
    } else {
      depth += depth_of($0)
    }
  }
  line[NR] = $0
}
END {
  for (i = 1; i <= NR; ++i) print prefix[i] line[i]
  if (state == "members") print "/**@}*/"
}
