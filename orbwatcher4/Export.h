/// @file
/// The import and export declarations of the library. Tests that link the library's objects directly neither export nor
/// import.
#pragma once

#if defined(ORBWATCHER4_EXPORTS)
#define ORBWATCHER4_API __declspec(dllexport)
#elif defined(ORBWATCHER4_OBJECTS) || !defined(_WIN32)
#define ORBWATCHER4_API
#else
#define ORBWATCHER4_API __declspec(dllimport)
#endif
