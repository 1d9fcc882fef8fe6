#!/usr/bin/perl
# module.pl LINK: a module on a pseudo-terminal that LINK names: an LTE cell of the test network, for as long as it runs. In Perl
# because that is in every Debian.
use strict;
use warnings;

my $TIOCSPTLCK = 0x40045431;
my $TIOCGPTN = 0x80045430;
open(my $module, '+<', '/dev/ptmx') or die "/dev/ptmx: $!";
my $number = pack('i', 0);
my $unlocked = pack('i', 0);
ioctl($module, $TIOCSPTLCK, $unlocked) and ioctl($module, $TIOCGPTN, $number) or die "a pseudo-terminal: $!";
symlink('/dev/pts/' . unpack('i', $number), $ARGV[0]) or die "$ARGV[0]: $!";

my %answers = (
    'at+qeng="servingcell"' => '+QENG: "servingcell","NOCONN","LTE","FDD",001,01,1A2D001,123,1300,3,5,5,7B0C,-95,-11,-65,12,37',
    'at+cops?' => '+COPS: 0,0,"Test Network",7',
    'at+cimi' => '001010123456789',
    'at+creg?' => '+CREG: 0,1',
);
my $heard = '';
for (;;) {
    # Fails while nobody has the other end open.
    if (!sysread($module, $heard, 512, length $heard)) {
        $heard = '';
        select(undef, undef, undef, 0.02);
        next;
    }
    while ($heard =~ s/^\s*([^\r\n]+)[\r\n]//) {
        my $answer = $answers{lc $1};
        syswrite($module, (defined $answer ? "\r\n$answer\r\n" : '') . "\r\nOK\r\n");
    }
}
