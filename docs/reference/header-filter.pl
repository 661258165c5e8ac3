#!/usr/bin/perl
# Doxygen input filter for the public headers. The headers carry plain // and /* */ comments
# in the library's own style; this turns them into documentation comments as Doxygen reads
# them, without touching the headers:
#  - the contract comment at the top becomes the header's group page (one per header);
#  - a comment on lines of its own documents the declaration that follows it, one after
#    code on the same line documents that code (not one after #if, #ifndef, #endif and the
#    like, which explains the condition);
#  - declarations between TLVUTL_C_BEGIN and TLVUTL_C_END are marked as C interfaces.
# A few lines are added at the top (the group's title and opening), so a warning's line number
# may be a few lines past the header's own.
use strict;
use warnings;

my $path = shift @ARGV or die "usage: header-filter.pl HEADER\n";
open(my $in, '<', $path) or die "$path: $!\n";
my @lines = <$in>;
close $in;

(my $name = $path) =~ s{.*/}{};
(my $group = "hdr_$name") =~ s/\W/_/g;
my $is_header = $name =~ /\.h$/;

# Comment text is prose, not markup: a backslash is a backslash (ROOT\sub\key), <word> and
# </word> are placeholders or XML, not HTML tags, and @word is no command. Markdown (`code`,
# lists, indented blocks) is kept.
sub prose {
    my ($text) = @_;
    $text =~ s{\\}{\\\\}g;
    $text =~ s{<(?=[/!?A-Za-z])}{\\<}g;
    $text =~ s{@(?=\w)}{\\@}g;
    return $text;
}
# Applies prose() to what follows the comment opener at offset $at of the line.
sub prose_from {
    my ($line, $at) = @_;
    return substr($line, 0, $at) . prose(substr($line, $at));
}

# A header whose C region exports functions says so on its page.
my $has_c = join('', @lines) =~ /^\s*TLVUTL_C_BEGIN\b.*?^TLVUTL_API\b/ms;

# Everything is written to a buffer first, for the pass that fences indented blocks.
my $buffer = '';
open(my $sink, '>', \$buffer) or die;
select $sink;

my $in_contract = $is_header;
my $in_block = 0;     # inside a /* */ comment
my $in_c = 0;         # between TLVUTL_C_BEGIN and TLVUTL_C_END
my $opened = 0;
for my $line (@lines) {
    if ($in_block) {
        $in_block = $line !~ m{\*/};
        print prose($line);
        next;
    }
    if ($in_contract) {
        if ($line =~ m{^(\s*)//+ ?}) {
            my ($lead, $rest) = ($1, substr($line, $+[0]));
            $line = "$lead/// " . prose($rest);
            if (!$opened) { $line = "/// \\defgroup $group $name\n$line"; $opened = 1; }
            print $line;
            next;
        }
        if ($line =~ m{^(\s*)/\*+}) {
            my ($lead, $rest) = ($1, substr($line, $+[0]));
            $in_block = $line !~ m{\*/};
            my $text = prose($rest);
            if (!$opened) { $line = "/** \\defgroup $group $name\n   $text"; $opened = 1; }
            else { $line = "$lead/**$text"; }
            print $line;
            next;
        }
        # The contract ends at the first line that is not a comment: open the group there.
        $in_contract = 0;
        print "/// \\defgroup $group $name\n" unless $opened;
        print "/** \\file\n \\ingroup $group */\n/** \\addtogroup $group\n";
        print " \\par C interface\n The functions marked C interface are callable from C;"
            . " this header compiles as C.\n" if $has_c;
        print " \\{ */\n";
        print $line;
        next;
    }
    if ($line =~ /^\s*TLVUTL_C_BEGIN\b/) { $in_c = 1; print $line; next; }
    if ($line =~ /^\s*TLVUTL_C_END\b/) { $in_c = 0; print $line; next; }

    if ($line =~ m{^(\s*)//(?!/)}) {
        my ($lead, $rest) = ($1, substr($line, $+[0]));
        $line = "$lead///" . prose($rest);
    } elsif ($line =~ m{^(\s*)/\*(?![*!])}) {
        my ($lead, $rest) = ($1, substr($line, $+[0]));
        $in_block = $line !~ m{\*/};
        $line = "$lead/**" . prose($rest);
    } elsif ($line =~ m{^\s*#\s*(?!define\b)\w}) {
        # A comment after a conditional or an include explains the condition: it documents
        # nothing, and as a documentation comment it would swallow the next declaration's.
    } elsif ($line =~ m{(\S\s+)//(?![/<])}) {
        # A comment after code documents that code. "://" (a URL in a string) is left alone.
        my ($code, $rest) = (substr($line, 0, $-[0]) . $1, substr($line, $+[0]));
        $line = "$code///<" . prose($rest);
    } elsif ($line =~ m{(\S\s+)/\*(?![*!<])}) {
        my ($code, $rest) = (substr($line, 0, $-[0]) . $1, substr($line, $+[0]));
        $in_block = $line !~ m{\*/};
        $line = "$code/**<" . prose($rest);
    }
    $line = "/** \\cinterface */ $line" if $in_c && $line =~ /^TLVUTL_API\b/;
    print $line;
}
print "/** \\} */\n" if $is_header;

# An indented block after a blank comment line (a grammar, a table) is shown as written, not
# flowed into a paragraph: fence it. Indented list items are lists, not blocks.
select STDOUT;
close $sink;
my @out = split /^/, $buffer;
my $i = 0;
while ($i < @out) {
    my $indented = qr{^\s*/// {3,}(?![-*] )\S};
    if ($i > 0 && $out[$i] =~ $indented && $out[$i - 1] =~ m{^\s*///\s*$}) {
        my ($lead) = $out[$i] =~ m{^(\s*)///};
        print "$lead/// ~~~\n";
        # Inside the fence nothing is markup: the escapes prose() added come off again.
        while ($i < @out && $out[$i] =~ m{^\s*/// {3,}\S}) {
            (my $line = $out[$i++]) =~ s{\\([\\<@])}{$1}g;
            print $line;
        }
        print "$lead/// ~~~\n";
        next;
    }
    print $out[$i++];
}
