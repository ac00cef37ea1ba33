// tests/process/startup_reporter.h
#pragma once

/// Throws a UT_EXCEPTION of code 5.
void throw_an_exception();
