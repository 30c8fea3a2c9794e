-- The part of the panel's database that records what the administrator did.
CREATE DATABASE kvr CHARACTER SET utf8mb3 COLLATE utf8mb3_general_ci;
USE kvr;

-- Settings of the panel, one row each.
CREATE TABLE misc (
    param VARCHAR(255) NOT NULL PRIMARY KEY,
    val TEXT
) ENGINE=InnoDB;

-- The kinds of actions that are recorded.
CREATE TABLE actions (
    id INT UNSIGNED NOT NULL AUTO_INCREMENT PRIMARY KEY,
    name VARCHAR(255) NOT NULL UNIQUE,
    descr VARCHAR(255) NOT NULL DEFAULT '',
    enabled ENUM('false', 'true') NOT NULL DEFAULT 'true'
) ENGINE=InnoDB;

-- One row for each recorded action: who did it, from where and when.
CREATE TABLE log_actions (
    id INT UNSIGNED NOT NULL AUTO_INCREMENT PRIMARY KEY,
    date DATETIME NOT NULL DEFAULT CURRENT_TIMESTAMP,
    ip_address VARCHAR(45) NOT NULL DEFAULT '127.0.0.1',
    user VARCHAR(255) NOT NULL DEFAULT 'admin',
    action_id INT UNSIGNED NOT NULL,
    FOREIGN KEY (action_id) REFERENCES actions (id)
) ENGINE=InnoDB;

-- The subject of an action. For service_start and service_stop, old_value is the service's id.
CREATE TABLE log_components (
    id INT UNSIGNED NOT NULL AUTO_INCREMENT PRIMARY KEY,
    action_id INT UNSIGNED NOT NULL,
    component VARCHAR(255) NOT NULL,
    old_value TEXT,
    new_value TEXT,
    FOREIGN KEY (action_id) REFERENCES log_actions (id) ON DELETE CASCADE
) ENGINE=InnoDB;
