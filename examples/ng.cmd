ld
iris
ng
30
sm
results/ng
xt
y
