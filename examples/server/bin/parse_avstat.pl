#!/usr/bin/perl
# A stand-in for the statistics script: called with -x -r -n=1 -sd=DIRECTORY CONFIG, it counts
# the statistics files in the directory.

use strict;
use warnings;

my ($directory) = map { /^-sd=(.*)$/ ? $1 : () } @ARGV;
my @files = glob "$directory/*";
print 'parse_avstat.pl: ', scalar @files, " statistics files, configured by $ARGV[-1]\n";
