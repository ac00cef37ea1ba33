[Daideix PAR]
; first run
effort = 5;
offset = -2147483648;
part = zv-100;
free text

[Two]
; 100%
key = a
b;
