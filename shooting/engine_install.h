// Installs into the Exif engine what lives above it: the MakerNote families and the composed
// lens text. Every program calls it once at start, before it reads a file.
#pragma once

void EngineInstall();
