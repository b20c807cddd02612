#pragma once

// What a command needs of the machine.

/// A multi-threaded apartment for the command's thread: the library's worker calls the host's objects, and nobody here
/// pumps messages for it.
class CHostApartment {
public:
    CHostApartment();
    ~CHostApartment();
    CHostApartment(const CHostApartment&) = delete;
    CHostApartment& operator=(const CHostApartment&) = delete;
};

/// Throws CCommandError(NotRegistered) that names the first component which this machine does not know.
void RequireComponents();
