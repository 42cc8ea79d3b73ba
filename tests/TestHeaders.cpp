// The headers of the test library are compiled with this source, ahead of the tests.
