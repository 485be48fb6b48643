ld
iris
cl
30
sm
results/cl
xt
y
