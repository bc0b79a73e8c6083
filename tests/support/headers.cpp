/* Nothing of its own: its target carries the headers that all the tests take precompiled. */
