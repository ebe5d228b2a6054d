# A straightforward writer of the client restriction table: rules in, table out.
use strict;
use warnings;

while (my $line = <STDIN>) {
  chomp $line;
  my ($key, $action) = $line =~ /^(\S+)\s+(.*)$/ or next;
  my ($address, $length) = split m{/}, $key;
  if (!defined $length) {
    printf "%-20s\t%s\n", $address, $action;
    next;
  }
  next if $length < 1 || $length > 32;
  my $host = 32 - $length;
  my $whole = int($host / 8);
  my @parts = split /\./, $address;
  if ($host % 8 == 0) {
    printf "%-20s\t%s\n", join('.', @parts[0 .. 3 - $whole]), $action;
    next;
  }
  my $value = unpack('N', pack('C4', @parts)) & (0xFFFFFFFF << $host) & 0xFFFFFFFF;
  for my $i (0 .. 2**($host % 8) - 1) {
    my @octets = unpack('C4', pack('N', $value + $i * 2**(8 * $whole)));
    printf "%-20s\t%s\n", join('.', @octets[0 .. 3 - $whole]), $action;
  }
}
