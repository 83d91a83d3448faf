module example/go

go 1.19
