#!/usr/bin/perl
# A client that knows the protocol from docs/protocol.md alone, in a language without a library of ours: scans, follows,
# lists, quarantines, restores and changes a setting against korvelmock's byte stream. Dies where a reply is not what the
# page says.
#
#   page_client.pl KORVELMOCK
use strict;
use warnings;
use utf8;
use IO::Handle;
use IPC::Open2;

binmode(STDOUT, ':utf8');
my $mock = shift or die "page_client.pl KORVELMOCK\n";
my $program = open2(my $from, my $to, $mock, '--scene', 'found', '--stdio', '--quiet');
binmode($_) for $from, $to;
$to->autoflush(1);

# Frames.

sub read_exactly {
  my ($count) = @_;
  my $bytes = '';
  while (length $bytes < $count) {
    my $got = sysread($from, $bytes, $count - length $bytes, length $bytes);
    die "the connection has ended\n" unless $got;
  }
  return $bytes;
}

sub ask {
  my ($opcode, $payload) = @_;
  $payload //= '';
  print $to pack('a4 V V V Q<', "\x4C\x56\x52\x4B", 1, $opcode, length $payload, 0) . $payload;
  my ($magic, $version, $answer, $length) = unpack('a4 V V V', read_exactly(24));
  die "no frame\n" if $magic ne "\x4C\x56\x52\x4B" || $version != 1 || $length > 33_554_432;
  my $reply = read_exactly($length);
  die 'refused: ' . ($length ? text(\$reply) : '') . "\n" if $answer == 0xFFFFFFFF;
  die "another opcode\n" if $answer != $opcode;
  return $reply;
}

# Fields: each takes its bytes off the front of the payload.

sub take {
  my ($payload, $count) = @_;
  die "the payload is too short\n" if length $$payload < $count;
  return substr($$payload, 0, $count, '');
}
sub u32 { return unpack('V', take($_[0], 4)) }
sub u64 { return unpack('Q<', take($_[0], 8)) }
sub bool { return u32($_[0]) ? 1 : 0 }
sub text {
  my $text = take($_[0], u32($_[0]));
  utf8::decode($text);
  return $text;
}

sub put_text {
  my $bytes = $_[0];
  utf8::encode($bytes);
  return pack('V', length $bytes) . $bytes;
}

my %read = (u32 => \&u32, u64 => \&u64, bool => \&bool, string => \&text, path => \&text);
my %write = (
  u32 => sub { pack('V', $_[0]) },
  u64 => sub { pack('Q<', $_[0]) },
  bool => sub { pack('V', $_[0] ? 1 : 0) },
  string => \&put_text,
  path => \&put_text,
);

# Records as the page writes them: "u64 id, path originalPath".
sub fields { return map { [split ' '] } split /, /, $_[0] }

sub record {
  my ($payload, $fields) = @_;
  return { map { $_->[1] => $read{$_->[0]}->($payload) } fields($fields) };
}
sub bytes_of {
  my ($record, $fields) = @_;
  return join '', map { $write{$_->[0]}->($record->{$_->[1]}) } fields($fields);
}
sub list {
  my ($payload, $read) = @_;
  my $count = u32($payload);
  return [map { $read->() } 1 .. $count];
}

my $EVENT = 'path path, string name, string code, u32 severity, u64 size';
my $COUNTS = 'u64 filesDone, u64 filesTotal, u64 bytesDone, u64 bytesTotal, path currentPath, string phase';
my $SUMMARY = 'u64 filesScanned, u64 threats, u64 suspicious, u64 bytesScanned, u64 elapsedMs, bool cancelled';
my $REASON = 'u32 severity, string code, string title, string detail';
my $DECISION = 'path path, u32 action, string name, string code, u32 severity, u64 size, string sha256';
my $ENTRY = 'u64 id, path originalPath, path storedPath, string threat, string code, u32 severity, u64 size, u64 time, '
  . 'bool storedFileExists';
my $SETTINGS = 'bool ProtectionEnabled, bool RealTimeEnabled, bool ScanArchives, bool ScanRemovable, '
  . 'bool ShowThreatModal, bool QuarantineOnDetect, bool ScheduledScan, u32 ScheduledHour, u64 LastScanUtc, '
  . 'u64 LastThreatCount, path SignatureDb, path QuarantineDir, bool LiveUpdates, u64 LastLiveUpdateUtc, bool WebShield';

sub progress {
  my $reply = ask(4);
  my %progress = (%{record(\$reply, $COUNTS)});
  $progress{scanning} = bool(\$reply);
  $progress{summary} = record(\$reply, $SUMMARY);
  $progress{events} = list(\$reply, sub { record(\$reply, $EVENT) });
  return \%progress;
}

sub results {
  my $reply = ask(6);
  return list(\$reply, sub {
    my $threat = record(\$reply, $EVENT);
    $threat->{sha256} = text(\$reply);
    $threat->{reasons} = list(\$reply, sub { record(\$reply, $REASON) });
    $threat->{labels} = list(\$reply, sub { text(\$reply) });
    return $threat;
  });
}

sub quarantine {
  my $reply = ask(8);
  return list(\$reply, sub { record(\$reply, $ENTRY) });
}

sub settings {
  my $reply = ask(11);
  return record(\$reply, $SETTINGS);
}

sub expect {
  my ($what, $got, $wanted) = @_;
  die "$what: $got instead of $wanted\n" if $got ne $wanted;
  print "$what: $got\n";
}

# A scan to its end; events are kept.
my @events;
ask(3, pack('V', 3) . pack('V', 1) . put_text('C:\\Samples'));
my $last;
do {
  $last = progress();
  push @events, @{$last->{events}};
  select(undef, undef, undef, 0.2) if $last->{scanning};
} while ($last->{scanning});
my $end = $last->{phase} eq 'failed' ? 'failed'
  : $last->{phase} eq 'idle' || $last->{summary}{filesScanned} == 0 ? 'nothing examined'
  : $last->{filesDone} >= $last->{filesTotal} ? 'completed' : 'stopped';
expect('the scan', $end, 'completed');
expect('files', $last->{filesDone}, 128);
expect('events', join(' ', map { $_->{path} } @events), 'C:\\Users\\Анна\\Загрузки\\событие.exe');

# What it found.
my $threats = results();
expect('finds', scalar @$threats, 3);
expect('the second', $threats->[1]{path}, 'C:\\Samples\\Загрузки\\счёт №7.pdf.exe');
expect('its reason', $threats->[1]{reasons}[0]{code}, 'FS.DOUBLE_EXT');
expect('its label', $threats->[1]{labels}[0], 'Двойное расширение');

# High and above into the quarantine, seen in its list; then one of them back.
for my $threat (grep { $_->{severity} >= 3 } @$threats) {
  ask(7, bytes_of({%$threat, action => 1}, $DECISION));
}
my $stored = quarantine();
expect('stored', scalar @$stored, 3);
expect('the last one', $stored->[2]{originalPath}, $threats->[1]{path});
ask(10, pack('Q<', $stored->[2]{id}));
expect('stored', scalar @{quarantine()}, 2);
eval { ask(10, pack('Q<', $stored->[2]{id})) };
expect('the same again', $@, "refused: record not found\n");

# One setting, and the others as they were.
my $settings = settings();
ask(12, bytes_of({%$settings, ScheduledHour => 7}, $SETTINGS));
my $after = settings();
expect('the hour', $after->{ScheduledHour}, 7);
for my $name (keys %$settings) {
  expect($name, $after->{$name}, $settings->{$name}) if $name ne 'ScheduledHour';
}

close $to;
waitpid $program, 0;
expect('the end of the mock', $?, 0);
