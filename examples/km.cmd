ld
iris
km
30
sm
results/km
xt
y
