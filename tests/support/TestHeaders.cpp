// The headers that are compiled ahead for all tests belong to a target, and a target has a source.
