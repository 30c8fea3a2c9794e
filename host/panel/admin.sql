-- The account that the panel's programs use. @PASSWORD@ stands for the first line of
-- /etc/kvr/.kvr.shadow and is put in when the database is made.
FLUSH PRIVILEGES;
CREATE USER admin@localhost IDENTIFIED BY '@PASSWORD@';
GRANT ALL PRIVILEGES ON *.* TO admin@localhost;
