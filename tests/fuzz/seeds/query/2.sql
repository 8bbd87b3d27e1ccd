SELECT w, count(*), sum(i), avg(d * 2 + i), min(t), max(n) FROM t GROUP BY w HAVING count(i) > 2 ORDER BY 2 DESC NULLS LAST, w
