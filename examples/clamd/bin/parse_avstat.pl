#!/usr/bin/perl
# Statistics of clamd: called with -x -r -n=1 -sd=DIRECTORY CONFIG, it counts what clamd's log found,
# by signature.

use strict;
use warnings;

# The value of an option, which is the rest of its line.
sub option {
    my ($name) = @_;
    open my $file, '<', $ARGV[-1] or die "parse_avstat.pl: $ARGV[-1]: $!\n";
    my ($value) = map { /^$name (.*)$/ ? $1 : () } <$file>;
    return $value // die "parse_avstat.pl: $ARGV[-1]: no $name\n";
}

my $path = option('LogFile');
open my $log, '<', $path or die "parse_avstat.pl: $path: $!\n";
my %found;
/: (\S+) FOUND$/ && $found{$1}++ while <$log>;
print "$_ $found{$_}\n" for sort keys %found;
