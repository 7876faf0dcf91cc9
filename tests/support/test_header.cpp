// Nothing of its own: the program header is precompiled with it.
