#pragma once

// The maker's web host: the status bar's link and the software tag of every output.
inline constexpr const char* MakerHost = "www.varnock.example";
inline constexpr const char* ProductCaption = "Varnocks pixelWright 8.1 x64";
inline constexpr const char* ProductVersion = "8.1";
