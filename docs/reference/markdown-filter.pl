#!/usr/bin/perl
# Doxygen input filter for the library's Markdown notes (docs/*.md): they are written for any
# Markdown reader, so @word ("@dpi", an XML attribute), \word and <word> outside code are
# text, not Doxygen commands or HTML tags. Code spans and fenced blocks are left alone, as
# Doxygen leaves them.
use strict;
use warnings;

my $fenced = 0;
while (my $line = <>) {
    if ($line =~ /^\s*(```|~~~)/) {
        $fenced = !$fenced;
        print $line;
        next;
    }
    if ($fenced) {
        print $line;
        next;
    }
    # Even pieces are text, odd pieces code spans.
    my @pieces = split /(`[^`]*`)/, $line;
    for my $piece (@pieces) {
        next if $piece =~ /^`/;
        $piece =~ s{\\(?=\w)}{\\\\}g;
        $piece =~ s{@(?=\w)}{\\@}g;
        $piece =~ s{<(?=[/!?A-Za-z])}{\\<}g;
    }
    print @pieces;
}
