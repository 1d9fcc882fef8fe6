# Markdown to man(7), as far as the manuals use it: headings, paragraphs, lists, tables, blocks of code; in a line `code`,
# *emphasis* and [links](to). A table of two columns becomes a list of terms, a wider one a table of tbl(1).
#
#   awk -f to_man.awk -v version=1.2.3 -v date='1 Jan 2026' [-v title='name(1): what it is'] page.md >name.1
#
# The title is that of the page, "# name(1): what it is", or the one given, for a page with a heading of another kind.
# What Markdown would do and this does not is an error, so that no page is shown half.

function fail(what) {
    printf "to_man.awk: %s:%d: %s\n", FILENAME, FNR, what >"/dev/stderr"
    failed = 1
    exit 1
}

# What the formatter takes for a request, an escape or a hyphen. The minus of options and numbers is one that can be copied.
function plain(text) {
    gsub(/\\/, "\\e", text)
    gsub(/-/, "\\-", text)
    gsub(/[a-z]\\-[a-z]/, "&\001", text)  # in a word it is a hyphen
    text = words_hyphens(text)
    return text
}

function words_hyphens(text,    out) {
    while (match(text, /[a-z]\\-[a-z]\001/)) {
        out = out substr(text, 1, RSTART) "-"
        text = substr(text, RSTART + 3, 1) substr(text, RSTART + 5)
    }
    return out text
}

function code(text) {
    gsub(/\\/, "\\e", text)
    gsub(/-/, "\\-", text)
    return "\\fB" text "\\fR"
}

# One line's worth of text with its marks.
function inline(text,    out, at, before) {
    while (match(text, /`[^`]+`|\*[^* ][^*]*\*|\[[^\]]+\]\([^)]+\)/)) {
        at = substr(text, RSTART, RLENGTH)
        before = substr(text, 1, RSTART - 1)
        text = substr(text, RSTART + RLENGTH)
        out = out plain(before)
        if (at ~ /^`/) {
            out = out code(substr(at, 2, length(at) - 2))
        } else if (at ~ /^\*/) {
            out = out "\\fI" plain(substr(at, 2, length(at) - 2)) "\\fR"
        } else {
            sub(/\].*/, "", at)
            out = out plain(substr(at, 2))
        }
    }
    return out plain(text)
}

function say(text) {
    print (text ~ /^[.']/ ? "\\&" : "") text
}

# The cells of a row; a bar behind a backslash is text.
function cells_of(row, cells,    count, i) {
    gsub(/\\\|/, "\002", row)
    sub(/^\| */, "", row)
    sub(/\|$/, "", row)
    count = split(row, cells, / *\| */)
    for (i = 1; i <= count; ++i) {
        gsub(/\002/, "|", cells[i])
        sub(/ +$/, "", cells[i])
    }
    return count
}

function begin_table(    i) {
    in_table = 1
    columns = cells_of($0, head)
    if (columns < 2) fail("a table of one column")
    if (columns == 2) return
    print (below_heading ? "" : ".PP\n") ".TS"
    for (i = 1; i < columns; ++i) printf "l "
    print "lx."
    for (i = 1; i <= columns; ++i) printf "%s%s", head[i] == "" ? "" : "\\fI" plain(head[i]) "\\fR", i < columns ? "\t" : "\n"
}

function table_row(    cells, i) {
    if ($0 ~ /^\|[-|: ]+$/) return
    if (cells_of($0, cells) != columns) fail("a row of another number of cells than the table's head")
    if (columns == 2) {
        print ".TP"
        say(inline(cells[1]))
        say(inline(cells[2]))
        return
    }
    for (i = 1; i <= columns; ++i) {
        if (i < columns) printf "%s\t", inline(cells[i])
        else printf "T{\n%s\nT}\n", inline(cells[i])
    }
}

function end_block() {
    if (in_table && columns > 2) print ".TE"
    in_table = in_list = in_text = 0
}

# 1 Jan 2026, as changelogs have it, to 2026-01-01.
function iso(date,    part) {
    split(date, part, " ")
    return sprintf("%d-%02d-%02d", part[3], (index("JanFebMarAprMayJunJulAugSepOctNovDec", part[2]) + 2) / 3, part[1])
}

function begin_page(    name, section, what) {
    if (title !~ /^[a-z-]+\([1-8]\): ./) fail("the title is not of the form name(1): what it is")
    name = section = what = title
    sub(/\(.*/, "", name)
    sub(/^[^(]*\(/, "", section)
    sub(/\).*/, "", section)
    sub(/^[^:]*: /, "", what)
    print "'\\\" t"
    printf ".TH %s %s \"%s\" \"zelt\\-stats %s\"\n.nh\n.ad l\n", toupper(name), section, iso(date), version
    gsub(/-/, "\\-", name)
    printf ".SH NAME\n%s \\- %s\n", name, plain(what)
}

NR == 1 {
    if ($0 !~ /^# /) fail("no heading in the first line")
    if (title == "") title = substr($0, 3)
    begin_page()
    has_heading = 0
    next
}
/^```/ {
    if (in_code) {
        print ".EE\n.RE"
    } else {
        end_block()
        if (!has_heading) {
            print ".SH SYNOPSIS"
            below_heading = 1
        }
        print (below_heading ? "" : ".PP\n") ".RS 4\n.EX"
        below_heading = 0
    }
    in_code = !in_code
    next
}
in_code {
    gsub(/\\/, "\\e")
    gsub(/-/, "\\-")
    say($0)
    next
}
/^$/ {
    end_block()
    next
}
/^##+ / {
    end_block()
    heading = $0
    sub(/^#+ /, "", heading)
    print ($0 ~ /^## / ? ".SH " toupper(plain(heading)) : ".SS " plain(heading))
    has_heading = below_heading = 1
    next
}
/^#|^>|^ *[0-9]+\. |^  +\* |^!\[|^<|^---/ {
    fail("a form that is not translated")
}
!has_heading {
    print ".SH DESCRIPTION"
    has_heading = below_heading = 1
}
/^\|/ {
    if (in_table) {
        table_row()
    } else {
        end_block()
        begin_table()
    }
    below_heading = 0
    next
}
/^\* / {
    in_list = 1
    below_heading = 0
    print ".IP \\(bu 2"
    say(inline(substr($0, 3)))
    next
}
{
    if (in_list && $0 !~ /^  /) fail("the line of a list's item is not indented")
    sub(/^ +/, "")
    if (!in_list && !in_text && !below_heading) print ".PP"
    below_heading = 0
    in_text = !in_list
    # A mark may begin in one line and end in the next: then the two are one.
    text = $0
    while (gsub(/`/, "`", text) % 2 == 1) {
        if ((getline more) <= 0) fail("a mark of code that does not end")
        sub(/^ +/, "", more)
        text = text " " more
    }
    say(inline(text))
}
END {
    if (!failed && in_code) fail("a block of code that does not end")
    if (!failed) end_block()
}
