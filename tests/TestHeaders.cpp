// Empty: the headers that all tests share are compiled on its behalf.
