#!/usr/bin/perl
# A text matrix as a binary one, the form that `iv` reads:
#
#   perl binary.pl < iris.dat > validation.dat
#
# The header lines (column count, row count, zeros) are expected.
use strict;
use warnings;

my @values = split ' ', do { local $/; <STDIN> };
my $columns = $values[0];
my $rows = $values[$columns];
my @numbers = @values[2 * $columns .. $#values];
die "not a text matrix with header\n" unless @numbers == $rows * $columns;
binmode STDOUT;
print pack('l<5', $rows, $columns, $rows, 5, 8), pack('d<*', @numbers);
