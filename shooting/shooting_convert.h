// Number conversions of the shooting data that only the camera data file needs.
#pragma once

// Rationals and APEX values come from exif/ (ParseRationalText, ApexEncode), the same roads the
// tag edit dialog takes; what stays here are the plain decimal readings of the Nikon note.

// The number of a text read by the standard decimal reader; 0 when none reads.
double ShootingNumber(const char* text);

// The tenths digit of a number: its truncated tenfold absolute value, modulo 10.
int ShootingTenths(double value);
