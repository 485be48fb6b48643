ld
iris
jp
sm
results/jp
xt
y
