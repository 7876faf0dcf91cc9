// Nothing of its own: GoogleTest's header is precompiled along with it.
